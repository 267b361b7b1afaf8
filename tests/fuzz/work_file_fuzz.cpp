// Reading, deleting and stepping over on an arbitrary work file.
//
// The first two bytes decide whether each entry is deleted or stepped over. After every step, the
// file and its position must be those of the model. It is also checked without the model that a
// deletion never changes the size of the file, or a byte outside the entry.
//
// Byte 0x1f in the text is replaced by many copies of the line before it, unless that is a short
// one, so that few bytes make entries larger than the reader's buffer.

#include <sys/mman.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "driver/platform/file.h"
#include "harness.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "ldif/work_file.h"
#include "support/dice.h"
#include "support/entry_lines.h"
#include "support/work_file_model.h"

namespace {

// A file in memory, which both readers open by its name.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view content)
        : file_(::memfd_create("work_file", MFD_CLOEXEC)) {
        name_ = "/proc/self/fd/" + std::to_string(file_.descriptor());
        require(writeText(file_.descriptor(), content) == content.size(), "memory can be written");
    }
    const std::string& name() const {
        return name_;
    }
    std::string content() const {
        return readFile(name_).value();
    }

private:
    File file_;
    std::string name_;
};

// The line that `text` ends in.
std::string lastLine(const std::string& text) {
    const std::size_t before =
        text.size() < 2 ? std::string::npos : text.rfind('\n', text.size() - 2);
    return text.substr(before + 1);
}

std::string withRepeatedLines(const std::string& text) {
    constexpr std::size_t maxSize = 131'072;  // half of the reader's buffer
    constexpr std::size_t shortLine = 16;
    int runs = 2;
    std::string result;
    for (const char c : text) {
        const std::string line = c == '\x1f' && runs > 0 ? lastLine(result) : "";
        if (line.size() < shortLine) {
            result += c;
            continue;
        }
        --runs;
        for (const std::size_t end = result.size() + maxSize; result.size() < end;) {
            result += line;
        }
    }
    return result;
}

class Comparison {
public:
    explicit Comparison(const std::string& content)
        : ours_(content),
          theirs_(content),
          model_(theirs_.name()),
          // Else blank lines are gathered before they are written.
          looksAtBytes_(content.size() < 65'536 && content.size() % 2 == 0) {
        reopen();
    }

    // Requires the same entry of both. Returns whether there is one.
    bool read() {
        int expectedResult = 0;
        const std::vector<std::string> expected = model_.read(expectedResult);
        require(getNextObjectFromTemporaryInputLDIFFile(tifp) == expectedResult, "same result");
        require(linesOf(object) == expected, "same lines");
        requireSamePosition();
        return !expected.empty();
    }

    void remove() {
        const std::string before = looksAtBytes_ ? ours_.content() : "";
        const auto start = static_cast<std::size_t>(tifp.tell());
        model_.remove();
        require(deleteNextObjectFromTemporaryInputLDIFFile(tifp) == 0, "deletion succeeds");
        requireSamePosition();
        if (looksAtBytes_) {
            requireSameBytes();
            requireBlanked(before, ours_.content(), start, static_cast<std::size_t>(tifp.tell()));
        }
    }

    void requireSameBytes() const {
        require(tifp.flush() == 0, "the blank lines can be written");
        require(ours_.content() == theirs_.content(), "same bytes");
    }

    void stepOver() {
        if (!hasTheStepOverFilePositionBeenInitialized) {
            steppedOver_ = model_.position();
        }
        model_.stepOver();
        require(stepOverNextObjectFromTemporaryInputLDIFFile(tifp) == 0, "stepping over succeeds");
        requireSamePosition();
        require(filePositionOfFirstObjectSteppedOver.offset == steppedOver_, "the first counts");
    }

    // As at the beginning of a pass.
    void reopen() {
        require(tifp.open(ours_.name()) == 0, "the file can be opened");
        model_ = WorkFileModel(theirs_.name());
        if (hasTheStepOverFilePositionBeenInitialized) {
            require(tifp.setPosition(filePositionOfFirstObjectSteppedOver) == 0, "a position");
            model_.setPosition(steppedOver_);
            hasTheStepOverFilePositionBeenInitialized = false;
        }
    }

private:
    void requireSamePosition() {
        require(tifp.tell() == model_.position(), "same position");
    }

    static void requireBlanked(const std::string& before, const std::string& after,
                               std::size_t start, std::size_t end) {
        // CR LF fits into every line but a last one of one character.
        const bool mayGrow = !before.empty() && before.back() != '\n';
        require(after.size() == before.size() || (mayGrow && after.size() == before.size() + 1),
                "the size stays");
        const std::string_view inside = std::string_view(after).substr(start, end - start);
        require(before.starts_with(after.substr(0, start)), "nothing before the entry is blanked");
        require(before.ends_with(after.substr(end)), "nothing behind the entry is blanked");
        for (std::size_t i = 0; i < inside.size(); ++i) {
            require(inside[i] == ' ' || inside[i] == '\r' || inside[i] == '\n' ||
                        inside[i] == before[start + i],
                    "nothing but blank lines is written");
        }
    }

    MemoryFile ours_;
    MemoryFile theirs_;
    WorkFileModel model_;
    bool looksAtBytes_;  // after every deletion; only at the end of a pass where there are many
    long steppedOver_ = 0;
};

// One pass: each entry is read, maybe twice, and then deleted or stepped over; now and then the
// pass is broken off.
void makePass(Comparison& comparison, Dice& dice) {
    constexpr std::size_t oneIn = 3;
    bool goesOn = true;
    while (goesOn && dice.upTo(50) > 0) {
        goesOn = comparison.read();
        if (dice.upTo(oneIn) == 0) {
            require(comparison.read() == goesOn, "the position stays");
        }
        if (dice.upTo(1) == 0) {
            comparison.remove();
        } else {
            comparison.stepOver();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int passes = 3;
    const FuzzInput fuzz = fuzzInput(data, size);
    Dice dice(fuzz.choices());
    if (dice.upTo(3) == 0) {
        traceToNowhere();
    }
    Comparison comparison(withRepeatedLines(fuzz.text));
    for (int pass = 0; pass < passes; ++pass) {
        makePass(comparison, dice);
        comparison.requireSameBytes();
        comparison.reopen();
    }
    resetProgram();
    return 0;
}
