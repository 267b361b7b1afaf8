#include "check/places.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

void LinePlaces::note(off_t offset, std::int64_t line) {
    constexpr off_t distance = 1024 * 1024;
    if (places_.empty() || offset >= places_.back().offset + distance) {
        places_.push_back({offset, line});
    }
}

std::int64_t LinePlaces::lineAt(int descriptor, off_t offset) const {
    const auto next =
        std::upper_bound(places_.begin(), places_.end(), offset,
                         [](off_t sought, const Place& place) { return sought < place.offset; });
    Place at = next == places_.begin() ? Place{0, 1} : *(next - 1);
    constexpr off_t blockSize = 64 * 1024;
    while (at.offset < offset) {
        const std::string block =
            textAt(descriptor, at.offset,
                   static_cast<std::size_t>(std::min(blockSize, offset - at.offset)));
        if (block.empty()) {
            return 0;
        }
        at.line += std::count(block.begin(), block.end(), '\n');
        at.offset += static_cast<off_t>(block.size());
    }
    return at.line;
}

bool isOtherThanRegular(const std::string& name) {
    const FileKind kind = stateOf(name).kind;
    return kind != FileKind::NONE && kind != FileKind::REGULAR;
}

bool hasChanged(const File& file, const FileState& before) {
    const FileState now = stateOf(file.descriptor());
    return now.size != before.size || now.modifiedTime != before.modifiedTime;
}

std::string textAt(int descriptor, off_t offset, std::size_t size) {
    std::string text(size, '\0');
    std::size_t read = 0;
    while (read < size) {
        const ssize_t count =
            ::pread(descriptor, text.data() + read, size - read, offset + static_cast<off_t>(read));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        read += static_cast<std::size_t>(count);
    }
    text.resize(read);
    return text;
}
