// The file traffic that every migration needs, and nothing else: the program is measured against
// it.
//
//     floor INPUT OUTPUT WORK PASSED REBUILT
//
// Reads INPUT while it writes the work file (WORK bytes) and the passed-through part of OUTPUT
// (PASSED bytes); then reads the work file and overwrites it in place, as a migration does;
// writes the rebuilt part of OUTPUT (REBUILT bytes), waits until OUTPUT is on its disk and removes
// the work file. The bytes are not parsed.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::array<char, 256 * 1024> buffer;

ssize_t checked(ssize_t result, const char* what) {
    if (result < 0) {
        std::perror(what);
        std::exit(1);
    }
    return result;
}

int opened(const std::string& name, int flags) {
    return static_cast<int>(checked(open(name.c_str(), flags, 0600), name.c_str()));
}

// Goes on writing whole buffers, and the rest at the `end`, until `due` bytes are written.
void writeUntil(int descriptor, off_t& written, off_t due, bool end) {
    const auto whole = static_cast<off_t>(buffer.size());
    while (due - written >= (end ? 1 : whole)) {
        const auto size = static_cast<std::size_t>(std::min(due - written, whole));
        written += checked(write(descriptor, buffer.data(), size), "write");
    }
}

}  // namespace

int main(int count, char* arguments[]) {
    if (count != 6) {
        std::fputs("usage: floor INPUT OUTPUT WORK PASSED REBUILT\n", stderr);
        return 2;
    }
    const std::string workName = std::string(arguments[1]) + ".tmp";
    const off_t workSize = std::stoll(arguments[3]);
    const off_t passedSize = std::stoll(arguments[4]);
    const off_t outputSize = passedSize + std::stoll(arguments[5]);
    const int input = opened(arguments[1], O_RDONLY);
    const int work = opened(workName, O_RDWR | O_CREAT | O_TRUNC);
    const int output = opened(arguments[2], O_RDWR | O_CREAT | O_TRUNC);

    struct stat state {};
    checked(fstat(input, &state), arguments[1]);
    off_t read = 0;
    off_t staged = 0;
    off_t written = 0;
    while (const ssize_t size = checked(::read(input, buffer.data(), buffer.size()), "read")) {
        read += size;
        const double share = static_cast<double>(read) / static_cast<double>(state.st_size);
        writeUntil(work, staged, static_cast<off_t>(static_cast<double>(workSize) * share), false);
        writeUntil(output, written, static_cast<off_t>(static_cast<double>(passedSize) * share),
                   false);
    }
    writeUntil(work, staged, workSize, true);
    writeUntil(output, written, passedSize, true);

    off_t offset = 0;
    while (const ssize_t size =
               checked(pread(work, buffer.data(), buffer.size(), offset), "read")) {
        offset += checked(pwrite(work, buffer.data(), static_cast<std::size_t>(size), offset),
                          "overwrite");
    }
    writeUntil(output, written, outputSize, true);
    checked(fsync(output), "fsync");
    checked(unlink(workName.c_str()), workName.c_str());
}
