#include "entry/entry.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/printable.h"
#include "driver/diagnostics/trace.h"
#include "entry/text.h"

Entry object;
bool areDnsCertain = true;

void Entry::appendText(std::string_view text) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max() - text_.size()) {
        failWithoutMemory();
    }
    reserveText(text_.size() + text.size());
    text_ += text;
}

void Entry::reserve(std::size_t size, std::size_t lines) {
    reserveText(size);
    lineEnds_.reserve(lines);
}

// Grows to a power of two, so that the memory for reading a large entry can be predicted from its
// size alone.
void Entry::reserveText(std::size_t size) {
    if (size > text_.capacity()) {
        text_.reserve(std::bit_ceil(size));
    }
}

void Entry::append(std::string_view line) {
    appendText(line);
    lineEnds_.push_back(static_cast<std::uint32_t>(text_.size()));
}

void Entry::append(std::string_view lines, std::span<const std::uint32_t> ends) {
    const auto start = static_cast<std::uint32_t>(text_.size());
    appendText(lines);
    const auto added = lineEnds_.insert(lineEnds_.end(), ends.begin(), ends.end());
    std::for_each(added, lineEnds_.end(), [start](std::uint32_t& end) { end += start; });
}

void Entry::replaceTail(int index, std::size_t offset, std::string_view tail) {
    const std::size_t start = offsetOf(index, offset);
    const std::size_t oldEnd = lineEnds_[static_cast<std::size_t>(index)];
    if (tail.size() > std::numeric_limits<std::uint32_t>::max() - text_.size()) {
        failWithoutMemory();
    }
    text_.replace(start, oldEnd - start, tail);
    const auto change = static_cast<std::uint32_t>(start + tail.size() - oldEnd);
    for (auto end = lineEnds_.begin() + index; end != lineEnds_.end(); ++end) {
        *end += change;  // modulo 2^32, so that a negative change comes out right
    }
}

void Entry::overwrite(int index, std::size_t offset, std::string_view text) {
    text_.replace(offsetOf(index, offset), text.size(), text);
}

void Entry::clear() {
    text_.clear();
    lineEnds_.clear();
}

std::size_t Entry::offsetOf(int index, std::size_t offset) const {
    return static_cast<std::size_t>(line(index).data() - text_.data()) + offset;
}

std::uint32_t* EntryStorage::take(std::size_t count) {
    constexpr std::size_t usual = 64 * 1024;
    if (count > wordsLeft_) {
        chunkSize_ = std::max(count, usual);
        chunks_.push_back(std::make_unique_for_overwrite<std::uint32_t[]>(chunkSize_));
        wordsLeft_ = chunkSize_;
    }
    std::uint32_t* const start = &chunks_.back()[chunkSize_ - wordsLeft_];
    wordsLeft_ -= count;
    return start;
}

void EntryStorage::clear() {
    chunks_.clear();
    wordsLeft_ = 0;
}

std::size_t StoredEntry::sizeOf(EntryView entry) {
    constexpr std::size_t word = sizeof(std::uint32_t);
    return (1 + entry.lineEnds().size() + (entry.text().size() + word - 1) / word) * word;
}

StoredEntry::StoredEntry(EntryView entry, EntryStorage& storage) {
    if (entry.empty()) {
        return;
    }
    const std::span<const std::uint32_t> ends = entry.lineEnds();
    const std::string_view text = entry.text();
    std::uint32_t* const block = storage.take(sizeOf(entry) / sizeof ends[0]);
    block[0] = static_cast<std::uint32_t>(ends.size());
    std::copy(ends.begin(), ends.end(), block + 1);
    std::memcpy(block + 1 + ends.size(), text.data(), text.size());
    block_ = block;
}

StoredEntry::operator EntryView() const {
    if (block_ == nullptr) {
        return {};
    }
    const std::uint32_t* ends = block_ + 1;
    const std::uint32_t count = block_[0];
    return {reinterpret_cast<const char*>(ends + count), {ends, count}};
}

void freeObject() {
    object.clear();
}

std::string_view firstLineOr(EntryView entry, std::string_view otherwise) {
    return entry.empty() ? otherwise : entry.line(0);
}

bool isDnLine(std::string_view line) {
    constexpr std::string_view name = "dn:";
    return equalIgnoringCase(line.substr(0, name.size()), name);
}

void noteRestOfLine(std::string_view rest) {
    for (const std::string_view name : {"dn:", "secdn:", "secauthority:"}) {
        areDnsCertain = areDnsCertain && !equalIgnoringCase(rest.substr(0, name.size()), name);
    }
}

bool isDnShown(EntryView entry) {
    return areDnsCertain && isDnLine(entry.line(0));
}

std::string quoted(std::string_view line) {
    constexpr std::size_t maxSize = 256;
    return '"' + printable(withoutLineEnd(line), maxSize) + '"';
}

std::string entryName(EntryView entry) {
    if (entry.empty() || isDnShown(entry)) {
        return quoted(firstLineOr(entry, "(empty)"));
    }
    return format("(%s; ldif-migrate-check reports its line number)",
                  isDnLine(entry.line(0))
                      ? "DN not shown, as a line of more than 4,095 bytes holds "
                        "what looks like one"
                      : "no DN line");
}

std::string aboutObject(std::string_view problem) {
    return format("the entry %s %s", entryName(object), problem);
}

void traceObject() {
    if (!debug) {
        return;
    }
    for (int i = 0; i < object.lineCount(); ++i) {
        writeTrace(object.line(i));
    }
    writeTrace("\n");
}
