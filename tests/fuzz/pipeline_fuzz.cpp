// The whole migration on an arbitrary export.
//
// The first byte chooses whether the run is traced and whether errors are echoed, the second the
// slot counts. Byte 0x1d in the text ends a work file that an earlier run has left behind. Every
// fourth text is migrated twice, once with a trace and once without.
//
// Whatever the export: the run ends with status 0, or refuses the export with status 255 and its
// message; the input stays as it is; the trace changes nothing; and a run that ends with status 0
// has left nothing in the work file.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "driver/platform/file.h"
#include "driver/settings.h"
#include "harness.h"
#include "ldif/line_reader.h"
#include "ldif/staging.h"

// The program's main, under the name that it has here.
int migrate(int argc, char** argv);

namespace {

constexpr const char* input = "input.ldif";
constexpr const char* output = "output.ldif";
constexpr const char* workFile = "input.ldif.tmp";

// The folder of the run's files, which is the current one for each execution alone: the fuzzer
// names its own files from where it was started.
class Workplace {
public:
    Workplace() : start_(::open(".", O_PATH | O_CLOEXEC)) {
        path_ = std::filesystem::temp_directory_path() / "pipeline_fuzz-XXXXXX";
        require(mkdtemp(path_.data()) != nullptr, "a folder can be made");
        folder_ = ::open(path_.c_str(), O_PATH | O_CLOEXEC);
        require(start_ >= 0 && folder_ >= 0, "the folders can be opened");
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    ~Workplace() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    void enter() const {
        require(::fchdir(folder_) == 0, "the folder can be entered");
    }
    void leave() const {
        require(::fchdir(start_) == 0, "the folder can be left");
    }

private:
    std::string path_;
    int start_;
    int folder_ = -1;
};

struct Export {
    std::string_view leftOver;
    std::string_view text;
};

Export splitOf(std::string_view text) {
    const std::size_t end = text.find('\x1d');
    if (end == std::string_view::npos) {
        return {{}, text};
    }
    return {text.substr(0, end), text.substr(end + 1)};
}

// From four bits: 1 to 15, or as many as there can be.
std::string slotCount(unsigned bits) {
    return bits == 15 ? "2147483647" : std::to_string(bits + 1);
}

struct Result {
    std::optional<MessageId> refusal;
    std::optional<std::string> output;
    std::optional<std::string> workFile;
};

// Staging may have ended with its own file open, which nobody else can close: staging nothing
// closes it, and what it still held reaches the work file, as at the end of a process.
void finishStaging() {
    input_ldif_filename = nowhere;
    temp_input_ldif_filename = "nothing";
    copyOriginalInputFileToTempInputFile();
    ::unlink("nothing");
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
    require(readFile(input) == files.text, "the input stays as it is");
    return {message, readFile(output), readFile(workFile)};
}

// Whether a reader finds no entry in the work file.
bool holdsNoEntry(const std::string& name) {
    LineReader reader;
    require(reader.open(name) == 0, "the work file is there");
    std::string_view line;
    bool isEmpty = true;
    while (isEmpty && reader.readLine(line) == 0) {
        isEmpty = isBlankLine(line) || isCommentLine(line);
    }
    return isEmpty;
}

void check(const Result& result, const Export& files, bool isTraced) {
    require(result.output.has_value(), "there is an output");
    require(result.workFile.has_value() == (isTraced || result.refusal),
            "the work file stays after a failure or a traced run alone");
    if (!result.workFile || result.refusal) {
        return;
    }
    if (files.leftOver.empty()) {
        require(result.workFile->find_first_not_of(" \r\n") == std::string::npos,
                "the work file is blank");
    } else {
        require(holdsNoEntry(workFile), "no entry is left in the work file");
    }
}

void requireSame(const Result& first, const Result& second) {
    require(first.refusal == second.refusal, "the trace does not change the end");
    require(first.output == second.output, "the trace does not change the output");
    if (first.workFile && second.workFile) {
        require(first.workFile == second.workFile, "the trace does not change the work file");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Workplace workplace;
    const FuzzInput fuzz = fuzzInput(data, size);
    const Export files = splitOf(fuzz.text);
    const bool isTraced = (fuzz.first & 1U) != 0;
    if ((fuzz.first & 2U) != 0) {
        setenv("DEBUG_ERROR", "1", 1);
    } else {
        unsetenv("DEBUG_ERROR");
    }

    workplace.enter();
    const Result result = run(files, fuzz.second, isTraced);
    check(result, files, isTraced);
    if (fuzz.text.size() % 4 == 0) {
        const Result again = run(files, fuzz.second, !isTraced);
        check(again, files, !isTraced);
        requireSame(result, again);
    }
    workplace.leave();
    return 0;
}
