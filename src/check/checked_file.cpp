#include "check/checked_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "check/failing.h"
#include "driver/diagnostics/messages.h"

void CheckedFile::open(const std::string& name) {
    name_ = name;
    lines_.clear();
    last_ = {0, 1};
    state_ = stateOf(name);
    if (state_.kind == FileKind::NONE) {
        fail(state_.error);
    }
    if (state_.kind != FileKind::REGULAR) {  // opening it might never end
        failReading(name_, "it is no regular file");
    }
    file_ = openAgain();
}

File CheckedFile::openAgain() const {
    File file = openFileForReading(name_);
    if (!file.isOpen()) {
        fail(errno);
    }
    requireState(stateOf(file.descriptor()));
    return file;
}

std::size_t CheckedFile::read(char* buffer, std::size_t size) const {
    const ssize_t count = readBytes(file_.descriptor(), buffer, size);
    if (count < 0) {
        fail(errno);
    }
    return static_cast<std::size_t>(count);
}

void CheckedFile::seek(off_t offset) const {
    if (::lseek(file_.descriptor(), offset, SEEK_SET) != offset) {
        fail(errno);
    }
}

std::string CheckedFile::textAt(off_t offset, std::size_t size) const {
    std::string text(size, '\0');
    std::size_t read = 0;
    while (read < size) {
        const ssize_t count = ::pread(file_.descriptor(), text.data() + read, size - read,
                                      offset + static_cast<off_t>(read));
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR) {
            fail(errno);
        }
        read += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    text.resize(read);
    return text;
}

void CheckedFile::noteLine(off_t offset, std::int64_t line) {
    constexpr off_t minDistance = 4096;
    constexpr off_t maxLines = 8192;
    const off_t distance = std::max(minDistance, state_.size / maxLines);
    if (lines_.empty() || offset >= lines_.back().offset + distance) {
        lines_.push_back({offset, line});
    }
}

std::int64_t CheckedFile::lineAt(off_t offset) const {
    const auto next =
        std::upper_bound(lines_.begin(), lines_.end(), offset,
                         [](off_t sought, const Line& line) { return sought < line.offset; });
    Line at = next == lines_.begin() ? Line{0, 1} : *(next - 1);
    if (last_.offset > at.offset && last_.offset <= offset) {
        at = last_;
    }
    constexpr off_t blockSize = 64 * 1024;
    while (at.offset < offset) {
        const std::string block =
            textAt(at.offset, static_cast<std::size_t>(std::min(blockSize, offset - at.offset)));
        if (block.empty()) {
            return 0;
        }
        at.number += std::count(block.begin(), block.end(), '\n');
        at.offset += static_cast<off_t>(block.size());
    }
    last_ = at;
    return at.number;
}

void CheckedFile::requireUnchanged() const {
    requireState(stateOf(file_.descriptor()));
}

void CheckedFile::requireState(const FileState& now) const {
    if (now.kind == FileKind::NONE) {
        fail(now.error);
    }
    const bool isUnchanged = isSameFile(now, state_) && now.size == state_.size &&
                             now.modifiedTime == state_.modifiedTime &&
                             now.changedTime == state_.changedTime;
    if (!isUnchanged) {
        failReading(name_, changedMeanwhile);
    }
}

void CheckedFile::fail(int error) const {
    failReading(name_, systemReason(error));
}
