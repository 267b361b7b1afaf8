// The text of the progress line.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

enum class Phase { STAGING, PASS, WRITING, CREDENTIALS };

struct Progress {
    Phase phase = Phase::STAGING;
    int pass = 0;            // the number of the pass, from 1
    std::int64_t begin = 0;  // where the phase began, where it is, and where it will end: in bytes
    std::int64_t done = 0;   // of its file, or in users and groups written
    std::int64_t total = 0;
    std::int32_t users = 0;  // held in memory
    std::int32_t groups = 0;
    std::chrono::milliseconds elapsed{0};  // since the phase began
    int columns = 80;                      // of the terminal
};

// A short text that needs no memory. A longer one is cut off.
class ShortText {
public:
    void append(std::string_view text);
    void append(std::int64_t number);

    std::string_view view() const {
        return {characters_.data(), size_};
    }

private:
    std::array<char, 192> characters_ = {};
    std::size_t size_ = 0;
};

// The text of the line: as much as fits into all columns but the last, the most important first.
ShortText progressLine(const Progress& progress);
