// Merging arbitrary entries, one after the other, each of them leading.
//
// The result is that of the naive merge, and a line without a colon is refused.

#include <algorithm>
#include <string>
#include <vector>

#include "entry/entry.h"
#include "harness.h"
#include "output/merge.h"
#include "support/entry_lines.h"
#include "support/naive_merge.h"

namespace {

using Lines = std::vector<std::string>;

bool namesObjectClass(const std::string& line) {
    return line.find("objectclass:") != std::string::npos ||
           line.find("objectClass:") != std::string::npos;
}

// The attribute name and its colon; nothing when the line has none.
std::string nameOf(const std::string& line) {
    return line.substr(0, line.find(':') + 1);
}

bool isRefused(const Lines& first, const Lines& second) {
    const auto lacksColon = [](const std::string& line) { return nameOf(line).empty(); };
    return std::any_of(first.begin(), first.end(),
                       [&](const std::string& line) {
                           return lacksColon(line) && !namesObjectClass(line);
                       }) ||
           std::any_of(second.begin(), second.end(), lacksColon);
}

Entry mergedWith(const Entry& leading, const Entry& other) {
    const Lines first = linesOf(leading);
    const Lines second = linesOf(other);
    const bool isMerged = returns([&] { mergeObjects(leading, other); });
    require(isMerged != isRefused(first, second), "a line without a colon is refused");
    if (!isMerged) {
        return {};
    }
    require(linesOf(object) == naiveMerge(first, second), "the lines of the naive merge");
    return object;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzInput fuzz = fuzzInput(data, size);
    if (fuzz.first % 4 == 0) {
        traceToNowhere();
    }
    Entry merged;
    for (const Entry& entry : entriesIn(fuzz.text)) {
        merged = merged.empty() ? entry : mergedWith(entry, merged);
    }
    resetProgram();
    return 0;
}
