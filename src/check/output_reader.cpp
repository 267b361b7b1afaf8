#include "check/output_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "check/places.h"
#include "driver/diagnostics/messages.h"

namespace {

constexpr std::size_t bufferSize = 4 * LineDigest::blockSize;

// As an installation date is written: # stands for a digit.
bool isInstallDate(std::string_view line) {
    constexpr std::string_view pattern = "installDate: ##############.0Z";
    return line.size() == pattern.size() &&
           std::equal(line.begin(), line.end(), pattern.begin(), [](char c, char wanted) {
               return wanted == '#' ? c >= '0' && c <= '9' : c == wanted;
           });
}

}  // namespace

std::string OutputReader::open(const std::string& name) {
    if (isOtherThanRegular(name)) {
        return "it is no regular file";
    }
    file_ = openFileForReading(name);
    if (!file_.isOpen()) {
        return systemReason(errno);
    }
    stateAtStart_ = stateOf(file_.descriptor());
    buffer_.resize(bufferSize);
    return {};
}

std::string OutputReader::problem() const {
    if (error_ != 0) {
        return systemReason(error_);
    }
    return hasChanged(file_, stateAtStart_) ? std::string(changedMeanwhile) : std::string();
}

// Reads more behind the bytes at hand. Returns whether there are more.
bool OutputReader::fill() {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(next_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
    end_ -= next_;
    next_ = 0;
    const ssize_t count =
        readBytes(file_.descriptor(), buffer_.data() + end_, buffer_.size() - end_);
    if (count < 0) {
        error_ = errno;
    }
    end_ += count > 0 ? static_cast<std::size_t>(count) : 0;
    return count > 0;
}

// Returns 0, or -1 when there is no line any more.
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
        // A line of whole blocks is one without a rest, as LineDigest::addLine divides it.
        if (isFirst || !block.empty()) {
            digest_.add(block);
        }
        if (isFirst) {
            head_ = block;
        }
        isEmpty_ = isFirst && block.empty();
        isFirst = false;
        next_ += size + (found != nullptr ? 1 : 0);
        offset_ += static_cast<off_t>(size + (found != nullptr ? 1 : 0));
        if (found != nullptr) {
            ++line_;
            return 0;
        }
        if (available < LineDigest::blockSize) {
            // The file ends within the line: no line of an output is like it.
            digest_.add("\n");
            return 0;
        }
    }
}

bool OutputReader::read(OutputEntry& entry) {
    entry = OutputEntry();
    for (;;) {
        const off_t place = offset_;
        const std::int64_t line = line_;
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
            entry.place = place;
            entry.line = line;
            firstLine_ = head_;
        }
        entry.linesButLast = entry.lines;
        entry.lines.add(digest_.value());
        entry.endsInInstallDate = isInstallDate(head_);
    }
    return error_ == 0 && entry.lines.count > 0;
}
