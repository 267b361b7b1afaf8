#include "workplace.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "driver/settings.h"
#include "harness.h"
#include "ldif/run_files.h"
#include "ldif/staging.h"

// The program's main, under the name that it has here.
int migrate(int argc, char** argv);

namespace {

std::string slotCount(unsigned bits) {
    return bits == 15 ? "2147483647" : std::to_string(bits + 1);
}

// Staging may have ended with its own file open, which only staging can close: staging an empty
// export closes it and writes its buffer to the work file, as at the end of a process.
void finishStaging() {
    input_ldif_filename = nowhere;
    temp_input_ldif_filename = "nothing";
    require(ofp.open(nowhere, 0) == 0, "there is an output for nothing");
    copyOriginalInputFileToTempInputFile();
    ::unlink("nothing");
}

}  // namespace

Workplace::Workplace() : start_(::open(".", O_PATH | O_CLOEXEC)) {
    path_ = std::filesystem::temp_directory_path() / "fuzz-XXXXXX";
    require(mkdtemp(path_.data()) != nullptr, "a folder can be made");
    folder_ = ::open(path_.c_str(), O_PATH | O_CLOEXEC);
    require(start_ >= 0 && folder_ >= 0, "the folders can be opened");
}

Workplace::~Workplace() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void Workplace::enter() const {
    require(::fchdir(folder_) == 0, "the folder can be entered");
}

void Workplace::leave() const {
    require(::fchdir(start_) == 0, "the folder can be left");
}

Result run(const Export& files, unsigned slots, bool isTraced) {
    ::unlink(workFile);
    if (!files.leftOver.empty()) {
        writeFile(workFile, files.leftOver);
    }
    writeFile(input, files.text);
    std::string users = slotCount(slots & 15U);
    std::string groups = slotCount(slots >> 4U);
    std::array<std::string, 6> words = {"ldif-migrate", input, output, users, groups, nowhere};
    std::array<char*, 7> arguments = {};
    const std::size_t count = isTraced ? 6 : 5;
    for (std::size_t i = 0; i < count; ++i) {
        arguments[i] = words[i].data();
    }

    Result result;
    const std::optional<MessageId> message = failureOf(
        [&] { require(migrate(static_cast<int>(count), arguments.data()) == 0, "status 0"); });
    if (message) {
        require(*message == MESSAGE_PROCESSING_FAILED || *message == MESSAGE_SLOT_OCCUPIED,
                "only the export is at fault");
        resetProgram();
        finishStaging();
    }
    resetProgram();
    require(readFile(input) == files.text, "the input stays unchanged");
    return {message, readFile(output), readFile(workFile)};
}
