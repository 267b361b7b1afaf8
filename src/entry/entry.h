// An entry: the lines of one LDIF record, and the current entry `object`.
//
// The lines stand back to back in one block of text, each as it was read, its line end included;
// beside it stands where each of them ends. A heap block per line would cost more than most lines
// are long, and how many users fit into memory decides how many passes a run needs. Moving an
// entry moves the block. A line never holds a NUL byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class Entry {
public:
    bool empty() const {
        return lineEnds_.empty();
    }
    int lineCount() const {
        return static_cast<int>(lineEnds_.size());
    }

    // Line `index` from 0 on; empty, with a null pointer, where the entry has no such line.
    std::string_view line(int index) const {
        if (index >= lineCount()) {
            return {};
        }
        const std::size_t start = lineStart(index);
        const std::size_t end = lineEnds_[static_cast<std::size_t>(index)];
        return {text_.data() + start, end - start};
    }

    // Adds a line at the end.
    void append(std::string_view line);

    // Replaces everything of line `index`, which must exist, from `offset` on; the line may become
    // longer or shorter.
    void replaceTail(int index, std::size_t offset, std::string_view tail);

    // Writes `text` over the bytes of line `index` from `offset` on; they must all exist.
    void overwrite(int index, std::size_t offset, std::string_view text);

    // Removes all lines but keeps the memory for the next ones.
    void clear();

    // Gives back memory that no line needs.
    void shrink();

private:
    std::size_t lineStart(int index) const {
        return index == 0 ? 0 : lineEnds_[static_cast<std::size_t>(index) - 1];
    }

    std::string text_;
    std::vector<std::uint32_t> lineEnds_;
};

// The current entry. Written by the readers and by the merge, edited while it is staged and while
// its owner is looked up, and empty once it has been moved into the cache.
extern Entry object;

// The number of lines of the current entry, which is also the index of the next one.
inline int next_available_object_slot() {
    return object.lineCount();
}

// Lets go of the lines of the current entry.
void freeObject();

// The first line of `entry`, or `otherwise` when it has none.
std::string_view firstLineOr(const Entry& entry, std::string_view otherwise);

// A line as it can stand in a message: between quotes, without its line end, cut after 256 bytes,
// and with a question mark for every ASCII control character, which a terminal might obey.
std::string quoted(std::string_view line);

// What a message says of the current entry: `the entry "<DN line>" <problem>`.
std::string aboutObject(std::string_view problem);

// Traces every line of the current entry as it stands, then an empty line.
void traceObject();
