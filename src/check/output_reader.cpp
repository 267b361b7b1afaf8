#include "check/output_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "entry/adjustments.h"

namespace {

constexpr std::size_t bufferSize = 2 * LineDigest::blockSize;

}  // namespace

void OutputReader::open(const std::string& name) {
    file_.open(name);
    buffer_.resize(bufferSize);
}

void OutputReader::goTo(const OutputPosition& position) {
    const off_t ahead = position.offset - position_.offset;
    if (ahead >= 0 && ahead <= static_cast<off_t>(end_ - next_)) {
        next_ += static_cast<std::size_t>(ahead);
    } else {
        file_.seek(position.offset);
        next_ = end_ = 0;
    }
    position_ = position;
}

// Reads more behind the bytes at hand. Returns whether there are more.
bool OutputReader::fill() {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(next_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
    end_ -= next_;
    next_ = 0;
    const std::size_t count = file_.read(buffer_.data() + end_, buffer_.size() - end_);
    end_ += count;
    return count > 0;
}

// Returns 0, or -1 after the last line.
int OutputReader::readLine() {
    digest_ = LineDigest();
    head_.clear();
    isEmpty_ = false;
    bool isFirst = true;
    for (;;) {
        const std::size_t available = std::min(end_ - next_, LineDigest::blockSize);
        const char* const begin = buffer_.data() + next_;
        const void* const found = available > 0 ? std::memchr(begin, '\n', available) : nullptr;
        if (found == nullptr && available < LineDigest::blockSize && fill()) {
            continue;
        }
        if (found == nullptr && available == 0 && isFirst) {
            return -1;
        }
        const std::size_t size =
            found == nullptr ? available
                             : static_cast<std::size_t>(static_cast<const char*>(found) - begin);
        const std::string_view block(begin, size);
        // A line of whole blocks has no rest, as LineDigest::addLine divides it.
        if (isFirst || !block.empty()) {
            digest_.add(block);
        }
        if (isFirst) {
            head_ = block;
        }
        isEmpty_ = isFirst && block.empty();
        isFirst = false;
        next_ += size + (found != nullptr ? 1 : 0);
        position_.offset += static_cast<off_t>(size + (found != nullptr ? 1 : 0));
        if (found != nullptr) {
            ++position_.line;
            return 0;
        }
        if (available < LineDigest::blockSize) {
            // The file ends within the line: no line of an output equals it.
            digest_.add("\n");
            return 0;
        }
    }
}

bool OutputReader::read(OutputEntry& entry) {
    entry = OutputEntry();
    for (;;) {
        const OutputPosition position = position_;
        if (readLine() != 0) {
            break;
        }
        if (isEmpty_) {
            if (entry.lines.count > 0) {
                entry.isEnded = true;
                return true;
            }
            continue;
        }
        if (entry.lines.count == 0) {
            entry.offset = position.offset;
            firstLine_ = head_;
            file_.noteLine(position.offset, position.line);
        }
        entry.linesButLast = entry.lines;
        entry.lines.add(digest_.value());
        entry.endsInInstallDate = isInstallDateLine(head_);
    }
    return entry.lines.count > 0;
}
