// The check after a migration, of the migration's own output and of others.
//
// Byte 0x1d in the text ends the export; the output follows. Without that byte the export's own
// migration makes the output, and the lowest two bits of the first byte choose a change to a line
// of it, if any: the line is removed, doubled, or a byte of it is changed. The second byte chooses
// the line, the other bits of the first choose the byte.
//
// Whatever the two files hold, the check comes to its end. An empty output is not accepted while
// the export holds a user. For an export without findings, the migration's own output is accepted,
// and one with a line changed is not.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check/compared_output.h"
#include "check/comparison.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "entry/object_class.h"
#include "harness.h"
#include "scan.h"
#include "workplace.h"

namespace {

constexpr std::size_t maxShown = 10;

// Makes the text the input. Returns whether it has no findings.
bool isSoundInput(std::string_view text) {
    writeFile(input, text);
    scanInput(maxShown);
    return totalOfAllTypes() == 0;
}

std::uint64_t differences(std::string_view migrated) {
    writeFile(output, migrated);
    beginFindings(maxShown);
    compareOutput(input, output);
    resetProgram();
    return totalOfAllTypes();
}

// With their line feeds.
std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t size = text.find('\n');
        lines.emplace_back(text.substr(0, size == std::string_view::npos ? size : size + 1));
        text.remove_prefix(lines.back().size());
    }
    return lines;
}

bool isEmptyLine(const std::string& line) {
    return line == "\n";
}

// Whether an entry is the same without this empty line: there is another beside it, or no entry
// above it.
bool isSpare(const std::vector<std::string>& lines, std::size_t index) {
    return index == 0 || isEmptyLine(lines[index - 1]) ||
           (index + 1 < lines.size() && isEmptyLine(lines[index + 1]));
}

// Never replaces a digit with a digit: the migration may add any date.
void changeByte(std::string& line, std::size_t index) {
    if (isEmptyLine(line)) {
        line = "x\n";
    } else {
        char& byte = line[index % (line.size() - 1)];
        byte = byte == 'x' ? 'y' : 'x';
    }
}

// The output with a line changed as the input chooses; unchanged if that must make no difference:
// there may be several empty lines.
std::string mutated(const std::string& whole, const FuzzInput& fuzz) {
    enum Mutation : unsigned { NONE, REMOVE, DOUBLE, CHANGE };
    const unsigned mutation = fuzz.first & 3U;
    std::vector<std::string> lines = linesOf(whole);
    if (mutation == NONE || lines.empty()) {
        return whole;
    }
    const std::size_t index = fuzz.second % lines.size();
    std::string& line = lines[index];
    if (mutation == CHANGE) {
        changeByte(line, fuzz.first >> 2U);
    } else if (mutation == DOUBLE && !isEmptyLine(line)) {
        line += line;
    } else if (mutation == REMOVE && !(isEmptyLine(line) && isSpare(lines, index))) {
        line.clear();
    }
    std::string text;
    for (const std::string& one : lines) {
        text += one;
    }
    return text;
}

// Whether the export that was verified last holds a user. Only in an export without findings, every
// entry of that class is one: elsewhere its user may be incomplete.
bool holdsUser(bool isSound) {
    return countOf(RecordKind::USER).expected > 0 ||
           (isSound && inventory.byClass[SECUSER_OBJECTCLASS] > 0);
}

void verifyOther(std::string_view text, std::string_view migrated) {
    const bool isSound = isSoundInput(text);
    const bool isAccepted = differences(migrated) == 0;
    require(!isAccepted || !migrated.empty() || !holdsUser(isSound), "an empty output lacks users");
}

void verifyOwn(const FuzzInput& fuzz) {
    const bool isSound = isSoundInput(fuzz.text);
    const Result result = run({{}, fuzz.text}, maxSlots, false);
    require(result.output.has_value(), "there is an output");
    const std::string other = mutated(*result.output, fuzz);
    const bool isAccepted = differences(other) == 0;
    require(!isSound || isAccepted == (other == *result.output),
            "the migration's own output is accepted, and no other");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Workplace workplace;
    const FuzzInput fuzz = fuzzInput(data, size);
    const std::string_view text = fuzz.text;
    const std::size_t end = text.find('\x1d');

    workplace.enter();
    if (end == std::string_view::npos) {
        verifyOwn(fuzz);
    } else {
        verifyOther(text.substr(0, end), text.substr(end + 1));
    }
    workplace.leave();
    return 0;
}
