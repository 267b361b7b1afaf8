// The object cache: the entries of the users and groups gathered in one pass.
//
// A matrix holds entries of one kind. Row i of every user matrix, and slot i of the user and
// policy DN tables, belong to one user; row j of the group matrices and slot j of the group DN
// table to one group. A row holds the lines of one entry, column 0 being its DN line; an empty
// row is a free one. Tables and rows grow with what they hold, so that slot counts far beyond
// the size of the registry cost nothing.
//
// An owner table answers in constant time which slot a DN has. It names the lowest slot whose DN
// is equal case-insensitively, as a scan from slot 0 would. Its hashes have a new key in every run,
// so that no choice of names can slow it down; the slot found does not depend on the key.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "entry/entry.h"
#include "entry/hash.h"

class OwnerTable {
public:
    // The name in traces, such as "secUser_dn".
    explicit OwnerTable(std::string_view name);
    OwnerTable(const OwnerTable&) = delete;
    OwnerTable& operator=(const OwnerTable&) = delete;

    std::string_view name() const {
        return name_;
    }

    // The number of slots opened, which is also the index of the next one.
    int slotCount() const {
        return static_cast<int>(dns_.size());
    }

    // The DN of a slot; empty when the slot holds none.
    std::string_view dn(int slot) const;

    // Reserves memory for a first few slots, at most `maxSlots`, and sets the key of the hashes,
    // which is zero before. The table must be empty.
    void prepare(int maxSlots, const HashKey& key);

    // Opens the next slot for `dn`. Counts it at once: the counts are not read before the entry
    // that opens it is in its row.
    void open(std::string_view dn);

    // The lowest open slot whose DN equals `dn` case-insensitively, or -1. Holds until the
    // first slot is replaced or released.
    int find(std::string_view dn);

    // Replaces or releases the slot's DN. The slot is no longer found.
    void replace(int slot, std::string text);
    void release(int slot);

    // Clears all slots.
    void clear();

    // The number of owners held: opened and not yet written. The flush counts it down.
    std::int32_t count = 0;

private:
    // An open-addressed table of slots by hash. It stores the hash of each DN, so that a lookup
    // usually reads at most one DN; std::unordered_set would follow more pointers.
    struct Bucket {
        std::uint32_t hash;
        std::int32_t slot;  // negative where the bucket is free
    };

    // The bucket of the slot whose DN equals `dn`, or the free one where it belongs.
    Bucket& bucketOf(std::string_view dn, std::uint32_t hash);
    void makeBuckets(std::size_t number);

    // The lower half of a DN's hash; 32 bits are enough for the buckets of a billion owners.
    std::uint32_t hashOf(std::string_view dn) const;

    std::string_view name_;
    HashKey key_ = {};
    std::deque<std::string> dns_;
    std::vector<Bucket> buckets_;  // a power of two of them, half of them free
};

struct Matrix {
    std::string_view name;  // in traces and messages, such as "secUser_matrix"
    std::deque<StoredEntry> rows = {};
    std::int32_t occupiedRows = 0;

    // Row `index`, empty when it has never been filled.
    EntryView row(int index) const;

    // Stores `entry` in row `index`, which must be free.
    void fill(int index, EntryView entry);

    // Empties row `index`. The memory is freed with the last row of all matrices.
    void release(int index);

    // Prefetches row `index`, if there is one.
    void prefetch(int index) const;
};

extern Matrix secUser_matrix;              // users' entries below their own DN
extern Matrix Users_secUser_matrix;        // users' entries already below cn=Users
extern Matrix secPolicyData_matrix;        // gathered to be dropped: the newer layout has none
extern Matrix secPolicy_matrix;            // users' policies
extern Matrix secMap_for_secUser_matrix;   // users' mapping entries
extern Matrix secGroup_matrix;             // groups' entries
extern Matrix secMap_for_secGroup_matrix;  // groups' mapping entries

extern OwnerTable secUser_dn;
extern OwnerTable secGroup_dn;

// The DN of the policy of the user in each slot. Written by copySecPolicyDN..., replaced by the
// new DN line, released by the flush.
extern std::deque<std::string> secPolicy_dn;

// The DN of the policy of user slot `index`, or empty.
std::string_view secPolicyDN(int index);

inline std::int32_t secUser_dn_count() {
    return secUser_dn.count;
}
inline std::int32_t secGroup_dn_count() {
    return secGroup_dn.count;
}
inline std::int32_t next_available_secUser_dn_slot() {
    return secUser_dn.slotCount();
}
inline std::int32_t next_available_secGroup_dn_slot() {
    return secGroup_dn.slotCount();
}
inline std::int32_t numberOfSecUserObjectsInObjectCache() {
    return secUser_matrix.occupiedRows;
}
inline std::int32_t numberOfUserSecUserObjectsInObjectCache() {
    return Users_secUser_matrix.occupiedRows;
}
inline std::int32_t numberOfSecPolicyDataObjectsInObjectCache() {
    return secPolicyData_matrix.occupiedRows;
}
inline std::int32_t numberOfSecPolicyObjectsInObjectCache() {
    return secPolicy_matrix.occupiedRows;
}
inline std::int32_t numberOfSecMapForSecUserObjectsInObjectCache() {
    return secMap_for_secUser_matrix.occupiedRows;
}
inline std::int32_t numberOfSecGroupObjectsInObjectCache() {
    return secGroup_matrix.occupiedRows;
}
inline std::int32_t numberOfSecMapForSecGroupObjectsInObjectCache() {
    return secMap_for_secGroup_matrix.occupiedRows;
}

// Prepares the cache, once, before the first pass. Ends the process if there is no memory.
void allocateObjectCache();

// Empties every table, every counter and the current entry.
void initializeAllArrays();

// Prefetches the entries of a user or group slot that will be written soon. Entries are in memory
// in the order in which they were read, which may not be the order of their owners.
void prefetchUser(int index);
void prefetchGroup(int index);

// Release the contents of slot `index` once they have been written. A free row or slot is not
// changed.
void freeSecUserDN(int index);
void freeSecGroupDN(int index);
void freeSecPolicyDN(int index);
void freeSecUser(int index);
void freeUsersSecUser(int index);
void freeSecGroup(int index);
void freeSecPolicyData(int index);
void freeSecPolicy(int index);
void freeSecMapForSecUser(int index);
void freeSecMapForSecGroup(int index);

// Frees all memory of the cache, once, at the end of the run.
void deallocateObjectCache();
