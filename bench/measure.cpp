// Runs a program and reports its time and memory.
//
//     measure REPORT PROGRAM [ARGUMENT...]
//
// The program has the standard streams of this one. REPORT gets one line: its exit status, the
// elapsed seconds, its processor seconds, and its max memory in kibibytes. Linux counts the memory
// of the process that starts a program as that of the program; so this is a program of its own,
// smaller than any that it measures.

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <span>

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int count, char* arguments[]) {
    if (count < 3) {
        std::fputs("usage: measure REPORT PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    const std::span command(arguments + 2, static_cast<std::size_t>(count - 2));
    const auto begin = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (const int error =
            posix_spawnp(&child, command[0], nullptr, nullptr, command.data(), environ);
        error != 0) {
        std::fprintf(stderr, "measure: %s: %s\n", command[0], std::strerror(error));
        return 1;
    }
    int state = 0;
    rusage usage{};
    while (wait4(child, &state, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::perror("measure: wait4");
            return 1;
        }
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    const int status = WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);

    std::FILE* report = std::fopen(arguments[1], "w");
    if (report == nullptr ||
        std::fprintf(report, "%d %.6f %.6f %ld\n", status, elapsed.count(),
                     seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss) < 0 ||
        std::fclose(report) != 0) {
        std::perror(arguments[1]);
        return 1;
    }
}
