// Reading a file line by line, with positions to come back to.
//
// A LineReader reads the file into one large buffer and hands out views of it, so that a line is
// copied only when it is kept. It remembers the last position asked for and keeps the bytes from
// there on: going back to the start of an entry costs nothing unless the entry and the blank lines
// before it are larger than half the buffer.
//
// Bytes that have been read may be overwritten in place. Consecutive new bytes are gathered and
// written a buffer at a time, to save a system call for each entry of a work file.
//
// A line is at most 4,095 bytes, its line feed included. A longer one arrives in pieces, each of
// which is a line to every caller. A NUL byte ends a line early; the rest of the line is lost.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "driver/platform/file.h"

// The max bytes of a line, its line feed included.
constexpr std::size_t longestLine = 4095;

// Results of reading a line or an entry, beside 0 for success.
constexpr int END_OF_FILE = -1;
constexpr int READ_ERROR = -2;

// An offset in a file, in bytes from its beginning.
struct FilePosition {
    off_t offset = 0;
};

// The offsets of an entry in a file, in bytes from its beginning.
struct Extent {
    off_t start = 0;      // with the blank lines before it
    off_t firstLine = 0;  // without them
    off_t end = 0;        // behind the last of its lines
    off_t next = 0;       // behind the blank line that ends it
};

class LineReader {
public:
    LineReader() = default;
    LineReader(LineReader&&) = default;
    LineReader& operator=(LineReader&&) = default;
    ~LineReader();

    // Opens `name`, which must exist, for reading and writing, with the additional open(2) flags.
    // Returns 0 or the error number.
    int open(const std::string& name, int flags = 0);

    // Reads `file`, which is open, from its beginning on.
    void open(File file);

    // Reads `text` instead of a file.
    void openText(std::string_view text);

    // Adds to the end of such a text.
    void addText(std::string_view text);

    // Closes the file if it is open. Returns 0, or the error number if the system has not accepted
    // all overwritten bytes.
    int close();
    bool isOpen() const {
        return file_.isOpen();
    }

    // Reads the next line or piece of one; `line` is valid until this reader is used again.
    // Returns 0, END_OF_FILE or READ_ERROR. An error stays until the file is reopened.
    int readLine(std::string_view& line);

    // Consecutive lines, and where each of them ends. Valid as long as a line is.
    struct Run {
        std::string_view text;
        std::span<const std::uint32_t> ends;
    };

    // Reads the lines in memory up to the first that is blank, a comment or shortened by a NUL
    // byte, or may be. Most entries come in one run, and are kept by one copy.
    Run readRunAtHand();

    // Skips the blank lines that are in memory. Returns their number.
    std::uint32_t skipBlankLinesAtHand();

    // Whether the next text read is the rest of a line that is too long. False if that is not
    // known, because the position has been set to an offset that is not in memory.
    bool isWithinLine() const {
        return (next_ > 0 ? buffer_[next_ - 1] : before_) != '\n';
    }

    // The current offset, as ftell(3): -1 if the file has no positions.
    long tell() const {
        return positionError_ == 0 ? bufferOffset_ + static_cast<off_t>(next_) : -1;
    }

    // As fgetpos(3) and fsetpos(3), but return 0 or the error number.
    int getPosition(FilePosition& position);
    int setPosition(const FilePosition& position);

    // Writes `text` over bytes that have been read, from `position` on; it may reach one byte
    // beyond the file's end. The current position does not change. The bytes are in the file after
    // flush() at the latest, after exit(3), and whenever they are read again. Both return 0 or the
    // error number.
    int overwrite(const FilePosition& position, std::string_view text);
    int flush();

    // Notes the extent of an entry whose lines all end in a line feed, so that its end need not be
    // searched for again from its start.
    void noteExtent(const Extent& extent) {
        noted_ = extent;
    }

    // Takes the extent noted for the entry that starts at `start`, if there is one.
    std::optional<Extent> takeNotedExtent(off_t start);

    // The bytes from one offset in the file to another if they are in memory, else nothing. Valid
    // as long as a line is.
    std::string_view textAtHand(off_t from, off_t to) const;

    // The error number of the read or overwrite that failed, or 0.
    int error() const {
        return error_;
    }

private:
    int fill();

    File file_;
    std::vector<char> buffer_;
    char before_ = '\n';                  // the byte before the buffer in the file
    std::size_t next_ = 0;                // index in the buffer of the next byte to hand out
    std::size_t end_ = 0;                 // end of the bytes in the buffer
    std::size_t mark_ = 0;                // index of the last position asked for
    off_t bufferOffset_ = 0;              // where in the file the buffer begins
    int positionError_ = ESPIPE;          // why the file has no positions, or 0
    bool holdsNul_ = false;               // whether there is a NUL byte in the buffer
    std::vector<std::uint32_t> runEnds_;  // those of the run read last
    int error_ = 0;
    std::optional<Extent> noted_;
    std::string overwritten_;      // bytes that the file does not have yet
    off_t overwrittenOffset_ = 0;  // of the first of them
};

// The line read last, by any reader; a view into that reader's buffer, valid until the reader is
// used again or closed.
extern std::string_view nextLine;

// Counts the attempts to read a line, failed ones included.
extern std::uint32_t lineNum;

// Reads the next line of `stream` into `buffer`, which is empty unless the result is 0. Returns
// what LineReader::readLine returns.
int getNextLine(std::string_view& buffer, LineReader& stream);

// Whether a line holds nothing but spaces, line feeds and carriage returns. A tab is not blank.
bool isBlankLine(std::string_view line);

// Whether a line is a comment: its very first character is "#".
inline bool isCommentLine(std::string_view line) {
    return line.starts_with('#');
}

// Replaces the line in `text` from `start` on with a blank one of the same length: spaces, then
// CR LF. A line of fewer than two characters becomes CR LF.
void blankLine(std::string& text, std::size_t start = 0);
