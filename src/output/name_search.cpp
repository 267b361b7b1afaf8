#include "output/name_search.h"

#include <algorithm>
#include <limits>

#include "entry/text.h"

namespace {

// Below, sorting takes longer than it saves.
constexpr std::size_t few = 64;

constexpr std::size_t leftOut = std::numeric_limits<std::size_t>::max();

// In the order of the characters from the last one to the first, folded.
bool precedes(std::string_view first, std::string_view second) {
    return std::lexicographical_compare(
        first.rbegin(), first.rend(), second.rbegin(), second.rend(),
        [](char one, char other) { return toLower(one) < toLower(other); });
}

// The heads without what precedes the colon before.
void cutHeads(const Heads& heads, Heads& parts) {
    parts = heads;
    for (std::size_t i = 1; i < parts.size(); ++i) {
        if (heads[i].line == heads[i - 1].line) {
            parts[i].text.remove_prefix(heads[i - 1].text.size());
        }
    }
}

std::size_t firstOf(const Lines& lines, const Heads& heads, std::string_view name) {
    for (const Head& head : heads) {
        if (endsIgnoringCase(head.text, name) && lines[head.line].data() != nullptr) {
            return head.line;
        }
    }
    return lines.size();
}

}  // namespace

void findHeads(EntryView entry, const Lines& lines, Heads& heads) {
    heads.clear();
    std::size_t line = 0;
    someHead(entry.text(), [&](std::string_view head) {
        const char* end = head.data() + head.size();
        while (end > lines[line].data() + lines[line].size()) {
            ++line;
        }
        const char* start = lines[line].data();
        heads.push_back({line, {start, static_cast<std::size_t>(end - start)}});
        return false;
    });
}

void NameSearch::prepare(const Heads& heads, std::size_t searches) {
    parts_.clear();
    if (heads.size() < few || searches < few) {
        return;
    }
    cutHeads(heads, parts_);
    std::sort(parts_.begin(), parts_.end(), [](const Head& first, const Head& second) {
        return precedes(first.text, second.text);
    });
    lowest_.resize(2 * parts_.size());
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        lowest_[parts_.size() + i] = i;
    }
    for (std::size_t node = parts_.size() - 1; node > 0; --node) {
        lowest_[node] = lower(lowest_[2 * node], lowest_[2 * node + 1]);
    }
}

std::size_t NameSearch::find(const Lines& lines, const Heads& heads, std::string_view name) {
    if (parts_.empty()) {
        return firstOf(lines, heads, name);
    }
    const auto begin = std::lower_bound(
        parts_.begin(), parts_.end(), name,
        [](const Head& part, std::string_view text) { return precedes(part.text, text); });
    const auto end = std::partition_point(begin, parts_.end(), [name](const Head& part) {
        return endsIgnoringCase(part.text, name);
    });
    while (begin != end) {
        const std::size_t part = lowestOf(static_cast<std::size_t>(begin - parts_.begin()),
                                          static_cast<std::size_t>(end - parts_.begin()));
        const std::size_t line = parts_[part].line;
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

std::size_t NameSearch::lower(std::size_t first, std::size_t second) const {
    return parts_[second].line < parts_[first].line ? second : first;
}

std::size_t NameSearch::lowestOf(std::size_t begin, std::size_t end) const {
    std::size_t found = begin;
    begin += parts_.size();
    end += parts_.size();
    for (; begin < end; begin /= 2, end /= 2) {
        if (begin % 2 != 0) {
            found = lower(found, lowest_[begin++]);
        }
        if (end % 2 != 0) {
            found = lower(found, lowest_[--end]);
        }
    }
    return found;
}

void NameSearch::leaveOut(std::size_t part) {
    parts_[part].line = leftOut;
    for (std::size_t node = (parts_.size() + part) / 2; node > 0; node /= 2) {
        lowest_[node] = lower(lowest_[2 * node], lowest_[2 * node + 1]);
    }
}
