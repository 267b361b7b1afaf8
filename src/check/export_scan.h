// The one reading of the export: what it holds, what is wrong with single entries, and what the
// output must have.
//
// Every entry is read, classified, adjusted and divided into lines by the very procedures that the
// migration uses. Where these would end the process, the scan asks first and tells a finding
// instead. Owners are gathered in owners.h; what is wrong with them shows when the export has been
// read, see owner_findings.h.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "check/findings.h"
#include "check/owners.h"
#include "entry/entry.h"

struct Inventory {
    std::uint64_t bytes = 0;                     // of the export
    std::uint64_t entries = 0;                   // in it
    std::array<std::uint64_t, 10> byClass = {};  // by object class code
    std::uint64_t users = 0;                     // and other owners of user entries
    std::uint64_t groups = 0;
    std::uint64_t newPolicies = 0;  // those already in the newer layout
    std::uint64_t workFileBytes = 0;
    std::uint64_t passedBytes = 0;   // what the output takes over as it is
    std::uint64_t rebuiltBytes = 0;  // at most, of users, groups and policies in the output
    std::uint64_t userMemory = 0;    // what a migration holds of all users and their entries
    std::uint64_t groupMemory = 0;
};
extern Inventory inventory;

// What the migration leaves out or changes on purpose, in lines.
enum class Rule : std::uint8_t {
    ENTRY_IDENTIFIERS,
    ACCESS_CONTROL,
    FILTERED_WORDS,
    POLICY_DATA,
    OLD_NAMES,
    OLD_CLASSES,
    EQUAL_LINES,
    REPLACED_LINES,
    NORMALIZED,
    VERSIONS,
    RESPELLED,
    DOMAIN_IDS_ADDED,
    DATES_ADDED,
    CONTAINERS_ADDED,
    END
};
extern std::array<std::uint64_t, static_cast<std::size_t>(Rule::END)> ruleLines;

void countRule(Rule rule, std::uint64_t lines = 1);

// An entry that the output takes over as it is, but for what the filters drop.
struct Demand {
    std::uint64_t lines = 0;       // the chain of its lines
    off_t place = 0;               // in the export
    bool addsInstallDate = false;  // behind the lines counted
};

// Whoever wants to know of these entries, in the order of the export; may be null.
struct DemandTakers {
    void (*passedThrough)(const Demand& demand) = nullptr;
    void (*credential)(const Demand& demand) = nullptr;
};

// Reads the whole export. Returns 0, or -1 with the reason in errno. Owners and the inventory are
// forgotten first, findings added to those there are.
int scanExport(const std::string& name, const DemandTakers& takers);

// After the scan: the entry at `place` as the migration would gather it, or nothing when it breaks
// apart there or the export cannot be read any more.
std::optional<Entry> stagedEntryAt(off_t place);

// After the scan: whether policy containers get a change type.
bool isChangetypeDemanded();

// After the scan: the line number of a place in the export, and of attribute `index` of the entry
// there, in which folded lines count once.
std::int64_t lineAt(off_t place);
std::int64_t lineOfAttribute(off_t place, int index);

// After the scan: the DN line of the entry at `place`, as quoted() shows it, without its quotes.
std::string dnAt(off_t place);

// Tells what is wrong with the entry at `place`.
void addFindingAt(off_t place, Kind kind, const std::string& effect, int message = 0);
