#include "ldif/line_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

std::string_view nextLine;
std::uint32_t lineNum = 0;

namespace {

constexpr std::size_t bufferSize = 256 * 1024;

}  // namespace

LineReader::~LineReader() {
    flush();
}

int LineReader::open(const std::string& name, int flags) {
    close();
    File file = openFile(name, flags);
    if (!file.isOpen()) {
        return errno;
    }
    open(std::move(file));
    return 0;
}

void LineReader::open(File file) {
    close();
    file_ = std::move(file);
    buffer_.resize(bufferSize);
    positionError_ = ::lseek(file_.descriptor(), 0, SEEK_CUR) < 0 ? errno : 0;
}

void LineReader::openText(std::string_view text) {
    close();
    positionError_ = 0;
    addText(text);
}

void LineReader::addText(std::string_view text) {
    buffer_.insert(buffer_.end(), text.begin(), text.end());
    end_ = buffer_.size();
    holdsNul_ = holdsNul_ || text.find('\0') != std::string_view::npos;
}

int LineReader::close() {
    const int flushError = flush();
    const int closeError = file_.close() == 0 ? 0 : errno;
    *this = LineReader();
    return flushError != 0 ? flushError : closeError;
}

int LineReader::readLine(std::string_view& line) {
    std::size_t length = 0;
    while (length == 0) {
        const std::size_t available = std::min(end_ - next_, longestLine);
        const char* start = buffer_.data() + next_;
        const void* lineFeed = available > 0 ? std::memchr(start, '\n', available) : nullptr;
        if (lineFeed != nullptr) {
            length = static_cast<std::size_t>(static_cast<const char*>(lineFeed) - start) + 1;
        } else if (available == longestLine) {
            length = longestLine;
        } else if (const int result = fill(); result == READ_ERROR) {
            return READ_ERROR;
        } else if (result == END_OF_FILE) {
            if (available == 0) {
                return END_OF_FILE;
            }
            length = available;
        }
    }
    const std::string_view whole(buffer_.data() + next_, length);
    line = whole.substr(0, whole.find('\0'));
    next_ += length;
    return 0;
}

LineReader::Run LineReader::readRunAtHand() {
    constexpr std::size_t maxLines = 1000;
    runEnds_.clear();
    if (holdsNul_) {
        return {};
    }
    const char* const begin = buffer_.data() + next_;
    const char* const end = buffer_.data() + end_;
    const char* at = begin;
    while (end - at >= 2 && runEnds_.size() < maxLines) {
        const char first = *at == ' ' ? at[1] : *at;  // in a continuation, that of the value
        if (static_cast<unsigned char>(first) <= '#') {
            break;  // may be blank or a comment
        }
        const std::size_t max = std::min(static_cast<std::size_t>(end - at), longestLine);
        const void* lineFeed = std::memchr(at, '\n', max);
        if (lineFeed == nullptr) {
            break;
        }
        at = static_cast<const char*>(lineFeed) + 1;
        runEnds_.push_back(static_cast<std::uint32_t>(at - begin));
    }
    const auto size = static_cast<std::size_t>(at - begin);
    next_ += size;
    return {{begin, size}, runEnds_};
}

std::uint32_t LineReader::skipBlankLinesAtHand() {
    // A deleted line consists of the end of this text, and later passes read all of them again:
    // comparing whole lines is much faster than looking at every byte.
    static const std::string longestBlankLine = std::string(longestLine - 2, ' ') + "\r\n";
    const char* const begin = buffer_.data() + next_;
    const char* const end = buffer_.data() + end_;
    const char* at = begin;
    std::uint32_t count = 0;
    while (at < end && (*at == ' ' || *at == '\r' || *at == '\n')) {
        const std::size_t max = std::min(static_cast<std::size_t>(end - at), longestLine);
        const void* lineFeed = std::memchr(at, '\n', max);
        if (lineFeed == nullptr) {
            break;
        }
        const auto size = static_cast<std::size_t>(static_cast<const char*>(lineFeed) + 1 - at);
        if (std::memcmp(at, longestBlankLine.data() + longestBlankLine.size() - size, size) != 0 &&
            !isBlankLine({at, size})) {
            break;
        }
        at += size;
        ++count;
    }
    next_ += static_cast<std::size_t>(at - begin);
    return count;
}

// Reads more of the file behind the bytes at hand. Keeps those from the mark on if that leaves
// half the buffer free, else those not handed out yet.
int LineReader::fill() {
    if (error_ != 0) {
        return READ_ERROR;
    }
    if (!file_.isOpen()) {
        return END_OF_FILE;  // a text is at hand from the start
    }
    if (mark_ > next_ || end_ - mark_ > bufferSize / 2) {
        mark_ = next_;
    }
    before_ = mark_ > 0 ? buffer_[mark_ - 1] : before_;
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(mark_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
    bufferOffset_ += static_cast<off_t>(mark_);
    next_ -= mark_;
    end_ -= mark_;
    mark_ = 0;
    const ssize_t count = readBytes(file_.descriptor(), buffer_.data() + end_, bufferSize - end_);
    if (count < 0) {
        error_ = errno;
        return READ_ERROR;
    }
    end_ += static_cast<std::size_t>(count);
    holdsNul_ = std::memchr(buffer_.data(), '\0', end_) != nullptr;
    return count == 0 ? END_OF_FILE : 0;
}

int LineReader::getPosition(FilePosition& position) {
    if (positionError_ != 0) {
        return positionError_;
    }
    position.offset = tell();
    mark_ = next_;
    return 0;
}

int LineReader::setPosition(const FilePosition& position) {
    const auto overwrittenEnd = overwrittenOffset_ + static_cast<off_t>(overwritten_.size());
    const bool isOverwritten = position.offset < overwrittenEnd;  // the buffer holds the old bytes
    const off_t inBuffer = position.offset - bufferOffset_;
    if (positionError_ == 0 && !isOverwritten && inBuffer >= 0 &&
        inBuffer <= static_cast<off_t>(end_)) {
        next_ = static_cast<std::size_t>(inBuffer);
        return 0;
    }
    if (const int error = flush(); error != 0) {
        return error;
    }
    if (::lseek(file_.descriptor(), position.offset, SEEK_SET) < 0) {
        return errno;
    }
    bufferOffset_ = position.offset;
    before_ = '\n';
    next_ = end_ = mark_ = 0;
    overwrittenOffset_ = 0;
    return 0;
}

std::optional<Extent> LineReader::takeNotedExtent(off_t start) {
    const std::optional<Extent> extent = std::exchange(noted_, std::nullopt);
    return extent && extent->start == start ? extent : std::nullopt;
}

std::string_view LineReader::textAtHand(off_t from, off_t to) const {
    if (from < bufferOffset_ || to > bufferOffset_ + static_cast<off_t>(end_)) {
        return {};
    }
    return {buffer_.data() + (from - bufferOffset_), static_cast<std::size_t>(to - from)};
}

int LineReader::overwrite(const FilePosition& position, std::string_view text) {
    const auto overwrittenEnd = overwrittenOffset_ + static_cast<off_t>(overwritten_.size());
    if (position.offset != overwrittenEnd || overwritten_.size() + text.size() > bufferSize) {
        if (const int error = flush(); error != 0) {
            return error;
        }
        overwrittenOffset_ = position.offset;
    }
    overwritten_ += text;
    return 0;
}

int LineReader::flush() {
    if (writeTextAt(file_.descriptor(), overwritten_, overwrittenOffset_) < 0) {
        return error_ = errno;
    }
    overwrittenOffset_ += static_cast<off_t>(overwritten_.size());
    overwritten_.clear();
    return 0;
}

int getNextLine(std::string_view& buffer, LineReader& stream) {
    buffer = {};
    ++lineNum;
    return stream.readLine(buffer);
}

bool isBlankLine(std::string_view line) {
    return line == "\n" || line.find_first_not_of(" \n\r") == std::string_view::npos;
}

void blankLine(std::string& text, std::size_t start) {
    const std::size_t length = std::max<std::size_t>(text.size() - start, 2);
    text.resize(start + length);
    std::fill(text.begin() + static_cast<std::ptrdiff_t>(start), text.end() - 2, ' ');
    text[text.size() - 2] = '\r';
    text[text.size() - 1] = '\n';
}
