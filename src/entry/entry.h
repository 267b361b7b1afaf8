// An entry: the lines of one LDIF record, and the current entry `object`.
//
// The lines are back to back in one block of text, each as it was read, its line end included; a
// second block holds the offset of each line's end. A heap block per line would take more memory
// than most lines, and how many users fit into memory decides how many passes a run needs. A line
// never holds a NUL byte.
//
// An Entry can be edited. A StoredEntry cannot, and takes up no more than its lines and four bytes
// for each. Both are read through an EntryView.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "entry/text.h"

// A view of an entry, valid until the entry changes.
class EntryView {
public:
    EntryView() = default;
    EntryView(const char* text, std::span<const std::uint32_t> lineEnds)
        : text_(text), lineEnds_(lineEnds) {
    }

    bool empty() const {
        return lineEnds_.empty();
    }
    int lineCount() const {
        return static_cast<int>(lineEnds_.size());
    }

    // Line `index` from 0 on; empty, with a null pointer, where the entry has no such line.
    std::string_view line(int index) const {
        return index < lineCount() ? lines(index, index + 1) : std::string_view();
    }

    // Lines `first` to `last` - 1, back to back.
    std::string_view lines(int first, int last) const {
        const std::size_t start = lineStart(first);
        return {text_ + start, lineStart(last) - start};
    }
    std::string_view text() const {
        return lines(0, lineCount());
    }

    // The index of the line that holds byte `offset` of the text.
    int lineOf(std::size_t offset) const {
        const auto line = std::upper_bound(lineEnds_.begin(), lineEnds_.end(), offset);
        return static_cast<int>(line - lineEnds_.begin());
    }

    std::span<const std::uint32_t> lineEnds() const {
        return lineEnds_;
    }

private:
    std::size_t lineStart(int index) const {
        return index == 0 ? 0 : lineEnds_[static_cast<std::size_t>(index) - 1];
    }

    const char* text_ = nullptr;
    std::span<const std::uint32_t> lineEnds_;
};

class Entry {
public:
    operator EntryView() const {
        return {text_.data(), lineEnds_};
    }
    bool empty() const {
        return lineEnds_.empty();
    }
    int lineCount() const {
        return EntryView(*this).lineCount();
    }
    std::string_view line(int index) const {
        return EntryView(*this).line(index);
    }
    std::string_view text() const {
        return text_;
    }

    // Makes sure that the entry may grow to `size` bytes and so many lines in place.
    void reserve(std::size_t size, std::size_t lines = 0);

    // Adds a line at the end.
    void append(std::string_view line);

    // Adds the lines that are back to back in `lines`; `ends` holds where each of them ends.
    void append(std::string_view lines, std::span<const std::uint32_t> ends);

    // Replaces everything of line `index`, which must exist, from `offset` on; the line may become
    // longer or shorter.
    void replaceTail(int index, std::size_t offset, std::string_view tail);

    // Writes `text` over the bytes of line `index` from `offset` on; they must all exist.
    void overwrite(int index, std::size_t offset, std::string_view text);

    // Removes all lines but keeps the memory for the next ones.
    void clear();

    void swap(Entry& other) noexcept {
        text_.swap(other.text_);
        lineEnds_.swap(other.lineEnds_);
    }

private:
    void reserveText(std::size_t size);
    void appendText(std::string_view text);
    std::size_t offsetOf(int index, std::size_t offset) const;

    std::string text_;
    std::vector<std::uint32_t> lineEnds_;
};

// Memory for stored entries, allocated in large chunks and freed all at once. A heap block for each
// entry would take longer, above all where they are freed in another order than they were
// allocated.
class EntryStorage {
public:
    // Memory for `count` words, valid until clear().
    std::uint32_t* take(std::size_t count);
    void clear();

private:
    std::vector<std::unique_ptr<std::uint32_t[]>> chunks_;
    std::size_t wordsLeft_ = 0;  // at the end of the last chunk
    std::size_t chunkSize_ = 0;
};

class StoredEntry {
public:
    StoredEntry() = default;
    StoredEntry(EntryView entry, EntryStorage& storage);

    operator EntryView() const;

    // The bytes that storing it takes.
    static std::size_t sizeOf(EntryView entry);

    // The same as for the view, without reading the memory of the entry.
    bool empty() const {
        return block_ == nullptr;
    }

    // Prefetches the beginning of the entry.
    void prefetch() const {
        __builtin_prefetch(block_);
    }

private:
    // The number of lines, where each of them ends, and the text. Null for an empty entry.
    const std::uint32_t* block_ = nullptr;
};

// The current entry. Written by the readers and by the merge, edited while it is staged and while
// its owner is looked up, and empty once it has been moved into the cache.
extern Entry object;

// Calls `visit` for each colon of each line whose colon prefix, the line up to and including the
// colon, `matches`, until it returns true: with the line's index, the prefix, and the rest of the
// line. Returns whether it did. `matches` must look at the end of the prefix alone: it sees all
// lines as one text first, and lines are looked for only where it has matched.
template <class Matches, class Visit>
bool someColonPrefix(EntryView entry, Matches matches, Visit visit) {
    return someColonPrefix(entry.text(), [&](std::string_view text) {
        if (!matches(text)) {
            return false;
        }
        const int index = entry.lineOf(text.size() - 1);
        const std::string_view line = entry.line(index);
        const std::string_view tail =
            line.substr(static_cast<std::size_t>(text.data() + text.size() - line.data()));
        const std::string_view colonPrefix = line.substr(0, line.size() - tail.size());
        return matches(colonPrefix) && visit(index, colonPrefix, tail);
    });
}

// The number of lines of the current entry, which is also the index of the next one.
inline int next_available_object_slot() {
    return object.lineCount();
}

// Frees the lines of the current entry.
void freeObject();

// The first line of `entry`, or `otherwise` when it has none.
std::string_view firstLineOr(EntryView entry, std::string_view otherwise);

// Whether a line is the DN line of an entry: it begins with "dn:" in any case.
bool isDnLine(std::string_view line);

// Whether no piece of a value has been taken for a line that holds a DN: only then messages show
// DNs. Written by noteRestOfLine.
extern bool areDnsCertain;

// Notes that a line read is the rest of one that is too long, perhaps of a value.
void noteRestOfLine(std::string_view rest);

// Whether messages may show the DN that the entry begins with.
bool isDnShown(EntryView entry);

// A DN or the name of an attribute as messages show it: between quotes, without its line end, as
// printable() shows it, and cut after 256 bytes.
std::string quoted(std::string_view line);

// The name of an entry in messages: its DN line, quoted, if it begins with one. Nothing of any
// other line is shown: even text that looks like an attribute name may be the rest of a value.
std::string entryName(EntryView entry);

// A clause about the current entry for messages: `the entry "<DN line>" <problem>`.
std::string aboutObject(std::string_view problem);

// Traces every line of the current entry unchanged, then an empty line.
void traceObject();
