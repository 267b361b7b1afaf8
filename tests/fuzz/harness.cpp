#include "harness.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/pass_loop.h"
#include "driver/platform/file.h"
#include "driver/settings.h"
#include "entry/object_class.h"
#include "ldif/line_reader.h"
#include "output/new_dn.h"
#include "support/cache_state.h"
#include "support/ldif_state.h"

namespace {

struct FatalEnd {
    MessageId message;
};

std::string expanded(std::string_view text) {
    constexpr int maxRuns = 8;
    constexpr std::size_t runLength = 4090;
    std::string result;
    int runs = 0;
    for (const char c : text) {
        if (c == '\x1e' && ++runs <= maxRuns) {
            result.append(runLength, 'l');
        } else {
            result += c;
        }
    }
    return result;
}

}  // namespace

// ---- Instead of the program's own way to fail, which is linked only where these are missing

FailureForm failureForm = {zr_printf_utf8, -1};

void report(std::string_view traceText, std::string_view echoText) {
    if (debug) {
        writeTrace(traceText);
    }
    echo(echoText);
}

void fail(std::string_view traceText, std::string_view echoText, const Message& message) {
    report(traceText, echoText);
    zr_printf_utf8(message);
    throw FatalEnd{message.id};
}

void failWithoutMemory() {
    fail({}, {}, {MESSAGE_NO_MEMORY, {}});
}

void endProcessWithoutMemory() {
}

OutOfMemoryLine::OutOfMemoryLine(std::string_view traceLine) : outer_(traceLine) {
}

OutOfMemoryLine::~OutOfMemoryLine() = default;

// Installation dates must not depend on when an input is tried.
extern "C" std::time_t __wrap_time(std::time_t* now) {
    constexpr std::time_t always = 1'000'000'000;
    if (now != nullptr) {
        *now = always;
    }
    return always;
}

// Used where the environment says nothing else.
extern "C" const char* __asan_default_options() {
    return "detect_stack_use_after_return=1:strict_string_checks=1:malloc_context_size=8:"
           "quarantine_size_mb=16";
}

FuzzInput fuzzInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input;
    if (size > 0) {
        input.first = data[0];
    }
    if (size > 1) {
        input.second = data[1];
        input.text = expanded(std::string(data + 2, data + size));
    }
    return input;
}

void require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}

std::optional<MessageId> failureOf(const std::function<void()>& procedure) {
    try {
        procedure();
        return std::nullopt;
    } catch (const FatalEnd& end) {
        return end.message;
    }
}

bool returns(const std::function<void()>& procedure) {
    const std::optional<MessageId> message = failureOf(procedure);
    require(!message || *message == MESSAGE_PROCESSING_FAILED, "only the export is refused");
    return !message;
}

void resetProgram() {
    debug = false;
    debugError = false;
    tfp.close();
    resetRunFiles();

    input_ldif_filename.clear();
    output_ldif_filename.clear();
    temp_input_ldif_filename.clear();
    debugFileName.clear();
    max_number_of_secuser_slots = 0;
    max_number_of_secgroup_slots = 0;
    objectClass = UNINTERESTING_OBJECTCLASS;
    atLeastOneObjectProcessed = false;
    emptyCache();
    principalName.clear();
    cnFromSecGroupObject.clear();
}

void traceToNowhere() {
    require(openTraceFile(nowhere) == 0, "the trace can be opened");
}

std::vector<Entry> entriesIn(std::string_view text) {
    std::vector<Entry> entries;
    Entry entry;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n') + 1);
        const std::string_view whole = line.empty() ? text : line;
        text.remove_prefix(whole.size());
        const std::string_view shown = whole.substr(0, whole.find('\0'));
        if (!isBlankLine(shown)) {
            entry.append(shown);
        } else if (!entry.empty()) {
            entries.push_back(entry);
            entry.clear();
        }
    }
    if (!entry.empty()) {
        entries.push_back(entry);
    }
    return entries;
}

void writeFile(const std::string& name, std::string_view content) {
    const File file = openFile(name, O_CREAT | O_TRUNC);
    require(writeText(file.descriptor(), content) == content.size(), "a file can be written");
}

std::optional<std::string> readFile(const std::string& name) {
    const File file = openFile(name, 0);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    const off_t size = ::lseek(file.descriptor(), 0, SEEK_END);
    require(size >= 0, "a file has a size");
    std::string content(static_cast<std::size_t>(size), '\0');
    require(::pread(file.descriptor(), content.data(), content.size(), 0) == size,
            "a file can be read");
    return content;
}
