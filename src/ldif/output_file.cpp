#include "ldif/output_file.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "driver/platform/terminal.h"

namespace {

constexpr std::size_t bufferSize = 256 * 1024;

}  // namespace

OutputFile::~OutputFile() {
    close();
}

int OutputFile::open(const std::string& name, int flags) {
    close();
    File file = openFile(name, flags);
    if (!file.isOpen()) {
        return errno;
    }
    begin(std::move(file));
    return 0;
}

int OutputFile::openLocked(const std::string& name) {
    close();
    File file = openLockedFile(name);
    if (!file.isOpen()) {
        return errno;
    }
    if (stateOf(file.descriptor()).kind == FileKind::PIPE) {
        return ESPIPE;
    }
    begin(std::move(file));
    return 0;
}

int OutputFile::empty() {
    return emptyFile(file_) == 0 ? 0 : errno;
}

void OutputFile::begin(File file) {
    file_ = std::move(file);
    buffer_.resize(bufferSize);
    used_ = 0;
    error_ = 0;
    isDiscarding_ = false;
}

void OutputFile::discard() {
    close();
    isDiscarding_ = true;
}

int OutputFile::write(std::string_view text) {
    if (isDiscarding_) {
        return 0;
    }
    if (text.size() > buffer_.size() - used_ && flush() != 0) {
        return -1;
    }
    if (text.size() > buffer_.size()) {
        if (writeText(file_.descriptor(), text) < text.size()) {
            error_ = errno;
            return -1;
        }
        return 0;
    }
    std::copy(text.begin(), text.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(used_));
    used_ += text.size();
    return 0;
}

int OutputFile::flush() {
    const std::size_t written = writeText(file_.descriptor(), {buffer_.data(), used_});
    if (written < used_) {
        error_ = errno;
        const auto rest = buffer_.begin() + static_cast<std::ptrdiff_t>(written);
        std::copy(rest, buffer_.begin() + static_cast<std::ptrdiff_t>(used_), buffer_.begin());
    }
    used_ -= written;
    return used_ == 0 ? 0 : -1;
}

int OutputFile::sync(const std::string& name) {
    if (flush() != 0) {
        return -1;
    }
    const FileKind kind = state().kind;
    const bool isSynced = kind != FileKind::NONE && syncFile(file_) == 0 &&
                          (kind != FileKind::REGULAR || syncFolderOf(file_, name) == 0);
    if (!isSynced) {
        error_ = errno;
    }
    return isSynced ? 0 : -1;
}

bool OutputFile::isTerminal() const {
    return ::isTerminal(file_.descriptor());
}

FileState OutputFile::state() const {
    return stateOf(file_.descriptor());
}

int OutputFile::close() {
    if (!isOpen()) {
        return 0;
    }
    const int flushed = flush();
    const int closed = file_.close();
    if (flushed == 0 && closed != 0) {
        error_ = errno;
    }
    std::vector<char>().swap(buffer_);
    used_ = 0;
    return flushed == 0 && closed == 0 ? 0 : -1;
}
