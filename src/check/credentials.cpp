#include "check/credentials.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <numeric>
#include <utility>

#include "check/digest.h"

namespace {

struct Credential {
    Packed40 lines;
    Packed40 offset;
};

std::deque<Credential> credentials;
bool areSorted = false;

std::size_t takenInOrder = 0;  // the first ones, while they are in the order of the export
std::vector<bool> taken;       // once they are sorted: each of them

// Once they are sorted: the first index of those whose digests have these upper bits.
constexpr unsigned upperBits = 12;
std::array<std::uint32_t, (std::size_t{1} << upperBits) + 1> starts;

std::size_t upperOf(std::uint64_t lines) {
    return lines >> (40 - upperBits);
}

off_t offsetOf(const Credential& credential) {
    return static_cast<off_t>(credential.offset.value());
}

void sortByLines() {
    const std::uint64_t firstLeft = takenInOrder < credentials.size()
                                        ? credentials[takenInOrder].offset.value()
                                        : Packed40::max;
    std::sort(credentials.begin(), credentials.end(),
              [](const Credential& one, const Credential& other) {
                  return std::pair(one.lines.value(), offsetOf(one)) <
                         std::pair(other.lines.value(), offsetOf(other));
              });
    taken.clear();
    starts = {};
    for (const Credential& credential : credentials) {
        taken.push_back(credential.offset.value() < firstLeft);
        ++starts[upperOf(credential.lines.value()) + 1];
    }
    std::partial_sum(starts.begin(), starts.end(), starts.begin());
    areSorted = true;
}

// Among those with the same lines, the first is taken first.
struct Equal {
    std::size_t first;
    std::size_t firstLeft;
    std::size_t end;
};

Equal findEqual(std::uint64_t lines) {
    if (!areSorted) {
        sortByLines();
    }
    const std::uint64_t sought = Packed40(lines).value();
    const auto begin = credentials.begin();
    const auto upperEnd = begin + starts[upperOf(sought) + 1];
    const auto first =
        std::partition_point(begin + starts[upperOf(sought)], upperEnd,
                             [=](const Credential& one) { return one.lines.value() < sought; });
    const auto isEqual = [=](const Credential& one) { return one.lines.value() == sought; };
    if (first == upperEnd || !isEqual(*first)) {
        const auto none = static_cast<std::size_t>(first - begin);
        return {none, none, none};
    }
    const auto end = std::partition_point(first, upperEnd, isEqual);
    const auto left = std::partition_point(
        taken.begin() + (first - begin), taken.begin() + (end - begin), [](bool is) { return is; });
    return {static_cast<std::size_t>(first - begin), static_cast<std::size_t>(left - taken.begin()),
            static_cast<std::size_t>(end - begin)};
}

}  // namespace

void forgetCredentials() {
    credentials.clear();
    areSorted = false;
    takenInOrder = 0;
    taken.clear();
}

void expectCredential(std::uint64_t lines, off_t offset) {
    credentials.push_back({Packed40(lines), Packed40(static_cast<std::uint64_t>(offset))});
}

bool takeCredential(std::uint64_t lines) {
    if (!areSorted && takenInOrder < credentials.size() &&
        credentials[takenInOrder].lines.value() == Packed40(lines).value()) {
        ++takenInOrder;
        return true;
    }
    const Equal equal = findEqual(lines);
    if (equal.firstLeft == equal.end) {
        return false;
    }
    taken[equal.firstLeft] = true;
    return true;
}

off_t offsetOfTakenCredential(std::uint64_t lines) {
    const Equal equal = findEqual(lines);
    return equal.first == equal.firstLeft ? -1 : offsetOf(credentials[equal.first]);
}

std::vector<off_t> offsetsOfMissingCredentials() {
    std::vector<off_t> offsets;
    for (std::size_t i = areSorted ? 0 : takenInOrder; i < credentials.size(); ++i) {
        if (!areSorted || !taken[i]) {
            offsets.push_back(offsetOf(credentials[i]));
        }
    }
    return offsets;
}
