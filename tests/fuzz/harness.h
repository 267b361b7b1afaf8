// The base of all fuzz targets: fatal ends are survived, the program is reset to its state at
// start-up, the fuzzer's bytes are decoded, and whole files are read and written.
//
// The first two bytes make choices, the rest is the text of the execution. In the text, byte 0x1e
// is replaced by a run of letters almost as long as the longest line, so that few bytes make lines
// that are split.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driver/diagnostics/messages.h"
#include "entry/entry.h"

struct FuzzInput {
    std::uint8_t first = 0;
    std::uint8_t second = 0;
    std::string text;

    // One number of both bytes, for targets that make their choices at random.
    unsigned choices() const {
        return first * 256U + second;
    }
};

FuzzInput fuzzInput(const std::uint8_t* data, std::size_t size);

// Ends the process with `property`, so that the fuzzer keeps its input, unless it holds.
void require(bool holds, const char* property);

// The message with which `procedure` ended the process, as if it had done so; nothing when it
// returned.
std::optional<MessageId> failureOf(const std::function<void()>& procedure);

// Requires that the export was refused if `procedure` did not return. Returns whether it did.
bool returns(const std::function<void()>& procedure);

// Resets every global of the program to its value at start-up, and closes every file.
void resetProgram();

// A file that takes everything and holds nothing.
inline constexpr const char* nowhere = "/dev/null";

// Traces from here on, to nowhere.
void traceToNowhere();

// The entries in `text`, which blank lines separate, with their lines divided as the readers divide
// them. None is empty.
std::vector<Entry> entriesIn(std::string_view text);

void writeFile(const std::string& name, std::string_view content);

// The whole of the file `name`, or nothing when it cannot be opened.
std::optional<std::string> readFile(const std::string& name);
