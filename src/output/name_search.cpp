#include "output/name_search.h"

#include <algorithm>
#include <limits>
#include <span>

#include "entry/text.h"

namespace {

// With fewer, sorting takes longer than it saves.
constexpr std::size_t few = 64;

constexpr std::uint32_t leftOut = std::numeric_limits<std::uint32_t>::max();

// In the order of the characters from the last one to the first, folded.
bool precedes(std::string_view first, std::string_view second) {
    return std::lexicographical_compare(
        first.rbegin(), first.rend(), second.rbegin(), second.rend(),
        [](char one, char other) { return toLower(one) < toLower(other); });
}

}  // namespace

void NameSearch::prepare(EntryView entry, std::size_t searches) {
    findParts(entry);
    lowest_.clear();
    if (parts_.size() >= few && searches >= few) {
        sortParts();
    }
}

void NameSearch::findParts(EntryView entry) {
    // Growing in steps would take up to twice as much memory for a moment.
    constexpr std::size_t large = 64 * 1024;
    const std::string_view text = entry.text();
    text_ = text.data();
    parts_.clear();
    if (text.size() >= large) {
        parts_.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), ':')));
    }
    const std::span<const std::uint32_t> lineEnds = entry.lineEnds();
    std::uint32_t line = 0;
    std::uint32_t begin = 0;
    someColonPrefix(text, [&](std::string_view colonPrefix) {
        const auto end = static_cast<std::uint32_t>(colonPrefix.size());
        while (end > lineEnds[line]) {
            begin = lineEnds[line++];
        }
        parts_.push_back({line, begin, end});
        begin = end;
        return false;
    });
}

void NameSearch::sortParts() {
    std::sort(parts_.begin(), parts_.end(), [this](const Part& first, const Part& second) {
        return precedes(textOf(first), textOf(second));
    });
    lowest_.resize(parts_.size());
    for (std::size_t node = parts_.size() - 1; node > 0; --node) {
        lowest_[node] = lower(partAt(2 * node), partAt(2 * node + 1));
    }
}

std::size_t NameSearch::find(const Lines& lines, std::string_view name) {
    if (lowest_.empty()) {
        return firstOf(lines, name);
    }
    const auto begin = std::lower_bound(
        parts_.begin(), parts_.end(), name,
        [this](const Part& part, std::string_view text) { return precedes(textOf(part), text); });
    const auto end = std::partition_point(begin, parts_.end(), [this, name](const Part& part) {
        return endsIgnoringCase(textOf(part), name);
    });
    while (begin != end) {
        const std::uint32_t part = lowestOf(static_cast<std::size_t>(begin - parts_.begin()),
                                            static_cast<std::size_t>(end - parts_.begin()));
        const std::uint32_t line = parts_[part].line;
        if (line == leftOut) {
            break;
        }
        if (lines[line].data() != nullptr) {
            return line;
        }
        leaveOut(part);
    }
    return lines.size();
}

std::size_t NameSearch::firstOf(const Lines& lines, std::string_view name) const {
    for (const Part& part : parts_) {
        if (endsIgnoringCase(textOf(part), name) && lines[part.line].data() != nullptr) {
            return part.line;
        }
    }
    return lines.size();
}

std::uint32_t NameSearch::partAt(std::size_t node) const {
    return node < lowest_.size() ? lowest_[node]
                                 : static_cast<std::uint32_t>(node - lowest_.size());
}

std::uint32_t NameSearch::lower(std::uint32_t first, std::uint32_t second) const {
    return parts_[second].line < parts_[first].line ? second : first;
}

std::uint32_t NameSearch::lowestOf(std::size_t begin, std::size_t end) const {
    auto found = static_cast<std::uint32_t>(begin);
    begin += parts_.size();
    end += parts_.size();
    for (; begin < end; begin /= 2, end /= 2) {
        if (begin % 2 != 0) {
            found = lower(found, partAt(begin++));
        }
        if (end % 2 != 0) {
            found = lower(found, partAt(--end));
        }
    }
    return found;
}

void NameSearch::leaveOut(std::uint32_t part) {
    parts_[part].line = leftOut;
    for (std::size_t node = (parts_.size() + part) / 2; node > 0; node /= 2) {
        lowest_[node] = lower(partAt(2 * node), partAt(2 * node + 1));
    }
}
