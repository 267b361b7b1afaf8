// The whole migration on an arbitrary export.
//
// The first byte chooses whether the run is traced and whether errors are echoed, the second the
// slot counts. Byte 0x1d in the text ends a work file that an earlier run has left behind. Every
// fourth text is migrated twice, once with a trace and once without.
//
// Whatever the export: the run ends with status 0, or refuses the export with status 255 and its
// message; the input stays unchanged; the trace changes nothing; and a run that ends with status 0
// has left nothing in the work file.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "harness.h"
#include "ldif/line_reader.h"
#include "workplace.h"

namespace {

Export splitOf(std::string_view text) {
    const std::size_t end = text.find('\x1d');
    if (end == std::string_view::npos) {
        return {{}, text};
    }
    return {text.substr(0, end), text.substr(end + 1)};
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
