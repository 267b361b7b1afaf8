// Reading the output of a migration, entry by entry, as digests.
//
// Lines of the output may have any length and hold any byte: unlike those of the export, they are
// not divided. Entries end at an empty line.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "check/checked_file.h"
#include "check/digest.h"

struct OutputEntry {
    off_t offset = 0;  // of its first line
    LinesDigest lines;
    LinesDigest linesButLast;
    bool endsInInstallDate = false;  // the last line says when the domain was installed
    bool isEnded = false;            // by an empty line
};

// The offset of a line, and its number.
struct OutputPosition {
    off_t offset = 0;
    std::int64_t line = 1;
};

class OutputReader {
public:
    // Opens the output. Here and below, a failure to read ends the check.
    void open(const std::string& name);

    // Reads the next entry. Returns false at the end of the file.
    bool read(OutputEntry& entry);

    // The position behind the entry read last.
    OutputPosition position() const {
        return position_;
    }

    // Goes on at another position. In a part that has been read before, its line number does not
    // matter: none is noted there again.
    void goTo(const OutputPosition& position);

    // The first line of the entry read last, up to its line end; cut after 64 KiB.
    const std::string& firstLine() const {
        return firstLine_;
    }

    // The file itself, for entries that are read again.
    const CheckedFile& file() const {
        return file_;
    }

private:
    int readLine();
    bool fill();

    CheckedFile file_;
    std::vector<char> buffer_;
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    OutputPosition position_;  // of the next line
    std::string firstLine_;

    // The line read last.
    LineDigest digest_;
    std::string head_;  // its first block, at most
    bool isEmpty_ = false;
};
