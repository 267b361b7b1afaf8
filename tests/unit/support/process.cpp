#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "support/temporary_folder.h"

namespace {

bool isChild = false;

// Redirects `descriptor` to the file `path`.
void redirect(int descriptor, const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) {
        ADD_FAILURE() << "cannot redirect to " << path;
    }
    close(file);
}

}  // namespace

// The sanitizers ask this where a process ends. A procedure that fails frees nothing, and the
// search for leaks would take longer than all else that these processes do.
extern "C" int __lsan_is_turned_off();
int __lsan_is_turned_off() {
    return isChild ? 1 : 0;
}

Ending endingOf(const std::function<void()>& procedure) {
    const TemporaryFolder folder;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        isChild = true;
        redirect(STDOUT_FILENO, folder.path("output"));
        redirect(STDERR_FILENO, folder.path("errors"));
        procedure();
        std::exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        ADD_FAILURE() << "cannot run a process";
        return {};
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(folder.path("output")),
            readFile(folder.path("errors"))};
}

std::string outputOf(const std::function<void()>& procedure) {
    const TemporaryFolder folder;
    std::fflush(stdout);
    const int standardOutput = dup(STDOUT_FILENO);
    redirect(STDOUT_FILENO, folder.path("output"));
    procedure();
    std::fflush(stdout);
    dup2(standardOutput, STDOUT_FILENO);
    close(standardOutput);
    return readFile(folder.path("output"));
}
