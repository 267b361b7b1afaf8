#include "driver/platform/locks.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

// Reads a whole file. Returns 0, or the error number.
int readWhole(const char* name, std::string& text) {
    const File file = openFileForReading(name);
    std::array<char, 4096> block;
    if (!file.isOpen()) {
        return errno;
    }
    for (;;) {
        const ssize_t count = readBytes(file.descriptor(), block.data(), block.size());
        if (count <= 0) {
            return count < 0 ? errno : 0;
        }
        text.append(block.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace

LockLookup lookUpLock(const FileState& file) {
    std::string list;
    if (const int error = readWhole(lockList, list); error != 0) {
        return {LockState::UNKNOWN, error};
    }
    // As in "1: FLOCK  ADVISORY  WRITE 4711 fe:00:10952769 0 EOF".
    std::array<char, 64> identity;
    std::snprintf(identity.data(), identity.size(), " %02x:%02x:%lu ", major(file.device),
                  minor(file.device), static_cast<unsigned long>(file.inode));
    std::string_view rest = list;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        if (line.find(" FLOCK ") != std::string_view::npos &&
            line.find(identity.data()) != std::string_view::npos) {
            return {LockState::HELD};
        }
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
    return {LockState::FREE};
}
