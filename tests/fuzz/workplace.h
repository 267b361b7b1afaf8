// Whole migrations in a folder of their own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "driver/diagnostics/messages.h"

inline constexpr const char* input = "input.ldif";
inline constexpr const char* output = "output.ldif";
inline constexpr const char* workFile = "input.ldif.tmp";

// The folder of the run's files, which is the current one for each execution alone: the fuzzer
// names its own files from where it was started.
class Workplace {
public:
    Workplace();
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    ~Workplace();

    void enter() const;
    void leave() const;

private:
    std::string path_;
    int start_;
    int folder_ = -1;
};

struct Export {
    std::string_view leftOver;  // in the work file, from an earlier run
    std::string_view text;
};

struct Result {
    std::optional<MessageId> refusal;
    std::optional<std::string> output;
    std::optional<std::string> workFile;
};

// Four bits for the users and four for the groups: 1 to 15 slots, or as many as there can be.
inline constexpr unsigned maxSlots = 0xff;

// Migrates the export in the current folder. Requires that the run ends with status 0 or refuses
// the export, and leaves the input unchanged.
Result run(const Export& files, unsigned slots, bool isTraced);
