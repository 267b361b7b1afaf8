// An output whose device is full.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ldif/output_file.h"

// How many bytes an output takes before it must write them to its file.
inline std::size_t outputCapacity() {
    OutputFile file;
    EXPECT_EQ(file.open("/dev/full", 0), 0);
    std::size_t capacity = 0;
    while (file.write("x") == 0) {
        ++capacity;
    }
    return capacity;
}

// Opens `file` so that it takes `space` more bytes and then fails.
inline void openFullOutput(OutputFile& file, std::size_t space) {
    static const std::size_t capacity = outputCapacity();
    ASSERT_EQ(file.open("/dev/full", 0), 0);
    ASSERT_EQ(file.write(std::string(capacity - space, 'x')), 0);
}
