#include "ldif/line_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

std::string_view nextLine;
std::uint32_t lineNum = 0;

namespace {

constexpr std::size_t bufferSize = 256 * 1024;
constexpr std::size_t longestLine = 4095;

}  // namespace

int LineReader::open(const std::string& name, int flags) {
    *this = LineReader();
    file_ = openFile(name, flags);
    if (!file_.isOpen()) {
        return -1;
    }
    buffer_.resize(bufferSize);
    hasPositions_ = ::lseek(file_.descriptor(), 0, SEEK_CUR) == 0;
    return 0;
}

int LineReader::close() {
    const int result = file_.close();
    *this = LineReader();
    return result;
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

// Reads more of the file behind the bytes at hand. Keeps those from the mark on if that leaves
// half the buffer free, else those not handed out yet.
int LineReader::fill() {
    if (error_ != 0) {
        return READ_ERROR;
    }
    if (mark_ > next_ || end_ - mark_ > bufferSize / 2) {
        mark_ = next_;
    }
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
    return count == 0 ? END_OF_FILE : 0;
}

long LineReader::tell() const {
    return hasPositions_ ? bufferOffset_ + static_cast<off_t>(next_) : -1;
}

int LineReader::getPosition(FilePosition& position) {
    if (!hasPositions_) {
        errno = ESPIPE;
        return -1;
    }
    position.offset = tell();
    mark_ = next_;
    return 0;
}

int LineReader::setPosition(const FilePosition& position) {
    const off_t inBuffer = position.offset - bufferOffset_;
    if (hasPositions_ && inBuffer >= 0 && inBuffer <= static_cast<off_t>(end_)) {
        next_ = static_cast<std::size_t>(inBuffer);
        return 0;
    }
    if (::lseek(file_.descriptor(), position.offset, SEEK_SET) < 0) {
        return -1;
    }
    bufferOffset_ = position.offset;
    next_ = end_ = mark_ = 0;
    return 0;
}

int LineReader::overwrite(const FilePosition& position, std::string_view text) {
    if (writeTextAt(file_.descriptor(), text, position.offset) < 0) {
        error_ = errno;
        return -1;
    }
    const off_t inBuffer = position.offset - bufferOffset_;
    const off_t from = std::max<off_t>(inBuffer, 0);
    const off_t to = std::min(inBuffer + static_cast<off_t>(text.size()), static_cast<off_t>(end_));
    if (from < to) {
        const std::string_view seen = text.substr(static_cast<std::size_t>(from - inBuffer),
                                                  static_cast<std::size_t>(to - from));
        std::copy(seen.begin(), seen.end(), buffer_.begin() + from);
    }
    return 0;
}

int getNextLine(std::string_view& buffer, LineReader& stream) {
    buffer = {};
    ++lineNum;
    return stream.readLine(buffer);
}

bool isBlankLine(std::string_view line) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\n' || c == '\r'; };
    if (line.empty() || !isBlank(line.front())) {
        return line.empty();
    }
    while (!line.empty() && line.back() != ' ' && isBlank(line.back())) {
        line.remove_suffix(1);
    }
    // What is left of a deleted line is nothing but spaces, and later passes read all of them
    // again: comparing the line with itself, one byte on, takes a fraction of the time of a look
    // at every byte.
    return line.empty() ||
           (line.front() == ' ' &&
            std::memcmp(line.data(), line.data() + 1, line.size() - 1) == 0) ||
           std::all_of(line.begin(), line.end(), isBlank);
}

bool isCommentLine(std::string_view line) {
    return line.starts_with('#');
}

void blankLine(std::string& line) {
    const std::size_t length = std::max<std::size_t>(line.size(), 2);
    line.assign(length, ' ');
    line[length - 2] = '\r';
    line[length - 1] = '\n';
}
