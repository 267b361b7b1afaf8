#include "cache/object_cache.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/platform/random.h"
#include "driver/settings.h"
#include "entry/text.h"

Matrix secUser_matrix{"secUser_matrix"};
Matrix Users_secUser_matrix{"Users_secUser_matrix"};
Matrix secPolicyData_matrix{"secPolicyData_matrix"};
Matrix secPolicy_matrix{"secPolicy_matrix"};
Matrix secMap_for_secUser_matrix{"secMap_for_secUser_matrix"};
Matrix secGroup_matrix{"secGroup_matrix"};
Matrix secMap_for_secGroup_matrix{"secMap_for_secGroup_matrix"};

OwnerTable secUser_dn("secUser_dn");
OwnerTable secGroup_dn("secGroup_dn");
std::deque<std::string> secPolicy_dn;

namespace {

constexpr std::array<Matrix*, 7> matrices = {&secUser_matrix,
                                             &Users_secUser_matrix,
                                             &secPolicyData_matrix,
                                             &secPolicy_matrix,
                                             &secMap_for_secUser_matrix,
                                             &secGroup_matrix,
                                             &secMap_for_secGroup_matrix};

// The memory of the entries in all matrices, and their number.
EntryStorage storage;
int entriesHeld = 0;

// Needs no memory itself: a run must not fail here at its end.
void emptyAllTables() {
    for (Matrix* matrix : matrices) {
        matrix->rows.clear();
        matrix->occupiedRows = 0;
    }
    storage.clear();
    entriesHeld = 0;
    secUser_dn.clear();
    secGroup_dn.clear();
    secPolicy_dn.clear();
}

void traceSlotCounts(std::string_view function) {
    trace("\n%s():  max_number_of_secuser_slots  = %d  \n"
          "\n%s():  max_number_of_secgroup_slots = %d  \n",
          function, max_number_of_secuser_slots, function, max_number_of_secgroup_slots);
}

}  // namespace

OwnerTable::OwnerTable(std::string_view name) : name_(name) {
}

std::string_view OwnerTable::dn(int slot) const {
    return slot < slotCount() ? dns_[static_cast<std::size_t>(slot)] : std::string_view();
}

void OwnerTable::prepare(int maxSlots, const HashKey& key) {
    key_ = key;
    constexpr int few = 1000;
    makeBuckets(std::bit_ceil(2 * static_cast<std::size_t>(std::min(maxSlots, few))));
}

void OwnerTable::open(std::string_view dn) {
    dns_.emplace_back(dn);
    if (buckets_.size() < 2 * dns_.size()) {
        makeBuckets(std::bit_ceil(2 * dns_.size()));
    }
    const std::uint32_t hash = hashOf(dn);
    Bucket& bucket = bucketOf(dn, hash);
    if (bucket.slot < 0) {  // else the lower slot stays, where the DN is known already
        bucket = {hash, slotCount() - 1};
    }
    ++count;
}

int OwnerTable::find(std::string_view dn) {
    return buckets_.empty() ? -1 : bucketOf(dn, hashOf(dn)).slot;
}

std::uint32_t OwnerTable::hashOf(std::string_view dn) const {
    return static_cast<std::uint32_t>(hashIgnoringCase(dn, key_));
}

OwnerTable::Bucket& OwnerTable::bucketOf(std::string_view dn, std::uint32_t hash) {
    for (std::size_t i = hash;; ++i) {
        Bucket& bucket = buckets_[i & (buckets_.size() - 1)];
        if (bucket.slot < 0) {
            return bucket;
        }
        const std::string& known = dns_[static_cast<std::size_t>(bucket.slot)];
        // Most owners have one spelling in all their entries.
        if (bucket.hash == hash && (known == dn || equalIgnoringCase(known, dn))) {
            return bucket;
        }
    }
}

void OwnerTable::makeBuckets(std::size_t number) {
    std::vector<Bucket> old(number, Bucket{0, -1});
    old.swap(buckets_);
    for (const Bucket& bucket : old) {
        if (bucket.slot >= 0) {
            std::size_t i = bucket.hash;
            while (buckets_[i & (number - 1)].slot >= 0) {
                ++i;
            }
            buckets_[i & (number - 1)] = bucket;
        }
    }
}

void OwnerTable::replace(int slot, std::string text) {
    // Its bucket remains, with the hash of a DN that the slot no longer has.
    dns_[static_cast<std::size_t>(slot)].swap(text);
}

void OwnerTable::release(int slot) {
    if (!dn(slot).empty()) {
        replace(slot, {});
    }
}

void OwnerTable::clear() {
    buckets_.clear();
    dns_.clear();
    count = 0;
}

EntryView Matrix::row(int index) const {
    const auto i = static_cast<std::size_t>(index);
    return i < rows.size() ? EntryView(rows[i]) : EntryView();
}

void Matrix::fill(int index, EntryView entry) {
    const auto i = static_cast<std::size_t>(index);
    if (i >= rows.size()) {
        rows.resize(i + 1);
    }
    rows[i] = StoredEntry(entry, storage);
    ++occupiedRows;
    ++entriesHeld;
}

void Matrix::release(int index) {
    const auto i = static_cast<std::size_t>(index);
    if (i < rows.size() && !rows[i].empty()) {
        rows[i] = StoredEntry();
        --occupiedRows;
        if (--entriesHeld == 0) {
            storage.clear();
        }
    }
}

void Matrix::prefetch(int index) const {
    const auto i = static_cast<std::size_t>(index);
    if (i < rows.size()) {
        rows[i].prefetch();
    }
}

void prefetchUser(int index) {
    for (const Matrix* matrix :
         {&secUser_matrix, &Users_secUser_matrix, &secPolicy_matrix, &secMap_for_secUser_matrix}) {
        matrix->prefetch(index);
    }
}

void prefetchGroup(int index) {
    secGroup_matrix.prefetch(index);
    secMap_for_secGroup_matrix.prefetch(index);
}

std::string_view secPolicyDN(int index) {
    const auto i = static_cast<std::size_t>(index);
    return i < secPolicy_dn.size() ? std::string_view(secPolicy_dn[i]) : std::string_view();
}

void allocateObjectCache() {
    const OutOfMemoryLine line("allocateObjectCache():  malloc() failure.  EXITING. \n");
    trace("allocateObjectCache():  FUNCTION ENTRY  \n");
    traceSlotCounts("allocateObjectCache");
    const HashKey key = randomBits();
    secUser_dn.prepare(max_number_of_secuser_slots, key);
    secGroup_dn.prepare(max_number_of_secgroup_slots, key);
    trace("allocateObjectCache():  FUNCTION EXIT  \n");
}

void initializeAllArrays() {
    trace("initializeAllArrays():  FUNCTION ENTRY  \n");
    freeObject();
    emptyAllTables();
    trace("initializeAllArrays():  FUNCTION EXIT  \n");
}

void freeSecUserDN(int index) {
    secUser_dn.release(index);
}

void freeSecGroupDN(int index) {
    secGroup_dn.release(index);
}

void freeSecPolicyDN(int index) {
    if (!secPolicyDN(index).empty()) {
        std::string().swap(secPolicy_dn[static_cast<std::size_t>(index)]);
    }
}

void freeSecUser(int index) {
    secUser_matrix.release(index);
}

void freeUsersSecUser(int index) {
    Users_secUser_matrix.release(index);
}

void freeSecGroup(int index) {
    secGroup_matrix.release(index);
}

void freeSecPolicyData(int index) {
    secPolicyData_matrix.release(index);
}

void freeSecPolicy(int index) {
    secPolicy_matrix.release(index);
}

void freeSecMapForSecUser(int index) {
    secMap_for_secUser_matrix.release(index);
}

void freeSecMapForSecGroup(int index) {
    secMap_for_secGroup_matrix.release(index);
}

void deallocateObjectCache() {
    trace("deallocateObjectCache():  FUNCTION ENTRY  \n");
    traceSlotCounts("deallocateObjectCache");
    emptyAllTables();
    trace("deallocateObjectCache():  FUNCTION EXIT  \n");
}
