#include "check/comparison.h"

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <numeric>
#include <utility>
#include <vector>

#include "check/compared_output.h"
#include "check/credentials.h"
#include "check/digest.h"
#include "check/export_file.h"
#include "check/export_scan.h"
#include "check/findings.h"
#include "check/owners.h"
#include "check/passed_comparison.h"
#include "check/rebuilt_comparison.h"

namespace {

// An entry of the output that, judged by its lines, nothing in the export leads to.
struct Unexpected {
    Packed64 dn;  // of its first line, case-insensitive
    Packed40 offset;
    Packed40 lines;
    Packed40 linesButDate;  // 0 when it ends in none
};
std::deque<Unexpected> unexpected;

void expectCredentialOf(const ExpectedEntry& expected) {
    ++countOf(RecordKind::CREDENTIAL).expected;
    expectCredential(expected.lines, expected.offset);
}

// Compares an entry that is not where it would have passed through.
void compareEntry(const OutputEntry& entry, const std::string& dnLine) {
    if (takeMissing(entry) || compareRebuilt(entry, dnLine)) {
        return;
    }
    if (takeCredential(entry.lines.chain)) {
        ++countOf(RecordKind::CREDENTIAL).found;
        return;
    }
    unexpected.push_back({Packed64(digestIgnoringCase(dnLine)),
                          Packed40(static_cast<std::uint64_t>(entry.offset)),
                          Packed40(entry.lines.chain),
                          Packed40(entry.endsInInstallDate ? entry.linesButLast.chain : 0)});
}

// Reads again the entries without a counterpart among those that pass through, and then the rest.
void compareRest() {
    const OutputPosition end = comparedOutput.position();
    OutputEntry entry;
    for (const off_t offset : takeUnmatchedOffsets()) {
        comparedOutput.goTo({offset, 0});
        if (comparedOutput.read(entry)) {
            compareEntry(entry, comparedOutput.firstLine());
        }
    }
    comparedOutput.goTo(end);
    while (readOutputEntry(entry)) {
        compareEntry(entry, comparedOutput.firstLine());
    }
}

// The entries of the export that have no counterpart in the output.
std::vector<off_t> missingOffsets() {
    std::vector<off_t> offsets = offsetsOfMissingPassed();
    const std::vector<off_t> credentials = offsetsOfMissingCredentials();
    offsets.insert(offsets.end(), credentials.begin(), credentials.end());
    std::sort(offsets.begin(), offsets.end());
    return offsets;
}

// Unexpected entries, to be found by their DNs.
class UnexpectedByDn {
public:
    UnexpectedByDn() : order_(unexpected.size()), isTaken_(unexpected.size()) {
        std::iota(order_.begin(), order_.end(), 0U);
        std::sort(order_.begin(), order_.end(), [](std::uint32_t one, std::uint32_t other) {
            return std::pair(dnOf(one), one) < std::pair(dnOf(other), other);
        });
    }

    // Takes the first one of this DN that is left; null when there is none.
    const Unexpected* take(std::uint64_t dn) {
        const auto found =
            std::partition_point(order_.begin(), order_.end(), [this, dn](std::uint32_t one) {
                return dnOf(one) < dn || (dnOf(one) == dn && isTaken_[one]);
            });
        if (found == order_.end() || dnOf(*found) != dn) {
            return nullptr;
        }
        isTaken_[*found] = true;
        return &unexpected[*found];
    }

    bool isTaken(std::size_t index) const {
        return isTaken_[index];
    }

private:
    static std::uint64_t dnOf(std::uint32_t index) {
        return unexpected[index].dn.value();
    }

    std::vector<std::uint32_t> order_;
    std::vector<bool> isTaken_;
};

// The offset in the export of an entry with these lines that the output already has; noOffset if
// none is known.
off_t offsetOfRepeated(std::uint64_t lines) {
    const off_t offset = offsetOfFound(lines);
    return offset != noOffset ? offset : offsetOfTakenCredential(lines);
}

void reportUnexpected(const Unexpected& entry) {
    off_t offset = offsetOfRepeated(entry.lines.value());
    if (offset == noOffset && entry.linesButDate.value() != 0) {
        offset = offsetOfRepeated(entry.linesButDate.value());
    }
    const bool isRepeated = offset != noOffset;
    reportDifference(isRepeated ? FindingType::REPEATED_ENTRY : FindingType::EXTRA_ENTRY, offset,
                     static_cast<off_t>(entry.offset.value()),
                     isRepeated ? "the same entry is in the output already"
                                : "no entry of the export produces it, or only another like it");
}

// A missing and an unexpected entry with equal DNs are one entry that was changed. Such pairs are
// searched for only while there are few of them.
void reportUnmatched() {
    constexpr std::size_t maxLooks = 10'000;
    std::size_t looks = 0;
    UnexpectedByDn byDn;
    for (const off_t offset : missingOffsets()) {
        const bool mayLook = looks++ < maxLooks && !unexpected.empty();
        const Unexpected* const found =
            mayLook ? byDn.take(digestIgnoringCase(dnLineAt(offset))) : nullptr;
        if (found == nullptr) {
            reportDifference(FindingType::MISSING_ENTRY, offset, noOffset,
                             "it is missing from the output");
        } else {
            reportDifference(FindingType::CHANGED_ENTRY, offset,
                             static_cast<off_t>(found->offset.value()),
                             "its lines differ from those of the export");
        }
    }
    for (std::size_t i = 0; i < unexpected.size(); ++i) {
        if (!byDn.isTaken(i)) {
            reportUnexpected(unexpected[i]);
        }
    }
}

}  // namespace

void compareOutput(const std::string& exportName, const std::string& outputName) {
    unexpected.clear();
    forgetCredentials();
    beginPassedComparison();
    openComparedOutput(outputName);
    scanExport(exportName, {comparePassed, expectCredentialOf});
    keepDifferencesAlone();
    beginRebuiltComparison();
    compareRest();
    reportMissingRecords();
    reportUnmatched();
    requireUnchangedExport();
    comparedOutput.file().requireUnchanged();
}
