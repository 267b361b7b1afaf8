// What all fuzz targets rest on: a fatal end that is survived, the program's state as it is at
// start-up, the files of an execution, and how the bytes that the fuzzer makes up are read.
//
// The first two bytes decide (`choices`), the rest is the text that is worked on. In the text,
// byte 0x1e stands for a run of letters almost as long as the longest line, so that few bytes make
// lines that fall into pieces.
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

// Requires that the export was refused if `procedure` did not return, and tells whether it did.
bool returns(const std::function<void()>& procedure);

// Brings every global of the program back to what it is at start-up, and closes every file.
void resetProgram();

// A file that takes everything and holds nothing.
inline constexpr const char* nowhere = "/dev/null";

// Traces from here on, to nowhere.
void traceToNowhere();

// The entries in `text`, which blank lines part; the lines as the readers would hand them out. None
// is empty.
std::vector<Entry> entriesIn(std::string_view text);

void writeFile(const std::string& name, std::string_view content);

// The whole of the file `name`, or nothing when it cannot be opened.
std::optional<std::string> readFile(const std::string& name);
