#include "check/passed_comparison.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "check/compared_output.h"
#include "check/digest.h"
#include "check/entry_table.h"

namespace {

// Entries that one side has and the other has not shown yet. The migration may add an installation
// date to a domain's own entry, which is then compared without the date.
struct Unmatched {
    EntryTable byLines;
    EntryTable byLinesButDate;
};

Unmatched missing;  // of the export

// Entries of the output that have no counterpart yet. Those that end in a date are in both tables;
// the set holds those that have been removed from one of them.
Unmatched unmatched;
std::unordered_set<off_t> matchedDated;

// The entries that passed through last, to recognise a duplicate. Finally sorted by their lines.
constexpr std::size_t remembered = 4096;
struct Found {
    Packed40 lines;
    Packed40 offset;  // in the export
};
std::vector<Found> foundLast;
std::size_t foundCount = 0;
bool isFoundSorted = false;

void remember(std::uint64_t lines, off_t offset) {
    const Found found = {Packed40(lines), Packed40(static_cast<std::uint64_t>(offset))};
    if (foundLast.size() < remembered) {
        foundLast.push_back(found);
    } else {
        foundLast[foundCount % remembered] = found;
    }
    ++foundCount;
    ++countOf(RecordKind::PASSED).found;
}

bool isMetBy(const ExpectedEntry& expected, const OutputEntry& entry) {
    return expected.addsInstallDate
               ? entry.endsInInstallDate && expected.lines == entry.linesButLast.chain
               : expected.lines == entry.lines.chain;
}

// Removes an entry of the output that was set aside and is the expected one.
bool takeUnmatched(const ExpectedEntry& expected) {
    EntryTable& table = expected.addsInstallDate ? unmatched.byLinesButDate : unmatched.byLines;
    for (off_t offset = table.take(expected.lines); offset != noOffset;
         offset = table.take(expected.lines)) {
        if (matchedDated.erase(offset) == 0) {
            if (expected.isDomain) {
                matchedDated.insert(offset);
            }
            remember(expected.lines, expected.offset);
            return true;
        }
    }
    return false;
}

void setAside(const OutputEntry& entry) {
    unmatched.byLines.add(entry.lines.chain, entry.offset);
    if (entry.endsInInstallDate) {
        unmatched.byLinesButDate.add(entry.linesButLast.chain, entry.offset);
    }
}

std::uint64_t linesOf(const Found& one) {
    return one.lines.value();
}

}  // namespace

void beginPassedComparison() {
    missing = Unmatched();
    unmatched = Unmatched();
    matchedDated.clear();
    foundLast.clear();
    foundCount = 0;
    isFoundSorted = false;
}

void comparePassed(const ExpectedEntry& expected) {
    ++countOf(RecordKind::PASSED).expected;
    if (takeUnmatched(expected)) {
        return;
    }
    OutputEntry entry;
    while (readOutputEntry(entry)) {
        if (isMetBy(expected, entry)) {
            remember(expected.lines, expected.offset);
            return;
        }
        if (!takeMissing(entry)) {
            setAside(entry);
            break;
        }
    }
    (expected.addsInstallDate ? missing.byLinesButDate : missing.byLines)
        .add(expected.lines, expected.offset);
}

bool takeMissing(const OutputEntry& entry) {
    off_t offset = missing.byLines.take(entry.lines.chain);
    if (offset != noOffset) {
        remember(entry.lines.chain, offset);
        return true;
    }
    offset =
        entry.endsInInstallDate ? missing.byLinesButDate.take(entry.linesButLast.chain) : noOffset;
    if (offset != noOffset) {
        remember(entry.linesButLast.chain, offset);
    }
    return offset != noOffset;
}

std::vector<off_t> takeUnmatchedOffsets() {
    std::vector<off_t> offsets = unmatched.byLines.offsets();
    std::erase_if(offsets, [](off_t offset) { return matchedDated.contains(offset); });
    unmatched = Unmatched();
    return offsets;
}

std::vector<off_t> offsetsOfMissingPassed() {
    std::vector<off_t> offsets = missing.byLines.offsets();
    const std::vector<off_t> dated = missing.byLinesButDate.offsets();
    offsets.insert(offsets.end(), dated.begin(), dated.end());
    return offsets;
}

off_t offsetOfFound(std::uint64_t lines) {
    if (!isFoundSorted) {
        std::sort(foundLast.begin(), foundLast.end(), [](const Found& one, const Found& other) {
            return linesOf(one) < linesOf(other);
        });
        isFoundSorted = true;
    }
    const std::uint64_t sought = Packed40(lines).value();
    const auto found =
        std::partition_point(foundLast.begin(), foundLast.end(),
                             [sought](const Found& one) { return linesOf(one) < sought; });
    return found != foundLast.end() && linesOf(*found) == sought
               ? static_cast<off_t>(found->offset.value())
               : noOffset;
}
