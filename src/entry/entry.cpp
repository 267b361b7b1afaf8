#include "entry/entry.h"

#include <algorithm>
#include <limits>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "entry/text.h"

Entry object;

void Entry::append(std::string_view line) {
    if (line.size() > std::numeric_limits<std::uint32_t>::max() - text_.size()) {
        failWithoutMemory();
    }
    text_ += line;
    lineEnds_.push_back(static_cast<std::uint32_t>(text_.size()));
}

void Entry::replaceTail(int index, std::size_t offset, std::string_view tail) {
    const std::size_t start = lineStart(index) + offset;
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
    text_.replace(lineStart(index) + offset, text.size(), text);
}

void Entry::clear() {
    text_.clear();
    lineEnds_.clear();
}

void Entry::shrink() {
    text_.shrink_to_fit();
    lineEnds_.shrink_to_fit();
}

void freeObject() {
    object.clear();
}

std::string_view firstLineOr(const Entry& entry, std::string_view otherwise) {
    return entry.empty() ? otherwise : entry.line(0);
}

std::string quoted(std::string_view line) {
    constexpr std::size_t most = 256;
    const std::string_view whole = withoutLineEnd(line);
    std::string shown(whole.substr(0, most));
    std::replace_if(
        shown.begin(), shown.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return '"' + shown + (whole.size() > most ? "...\"" : "\"");
}

std::string aboutObject(std::string_view problem) {
    return format("the entry %s %s", quoted(firstLineOr(object, "(empty)")), problem);
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
