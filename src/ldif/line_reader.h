// Reading a file line by line, with positions to come back to.
//
// A LineReader looks at the file through one large buffer and hands out views of it, so that a
// line is not copied before somebody keeps it. It remembers the last position asked for and
// keeps the bytes from there on: going back to the start of an entry costs nothing unless the
// entry and the blank lines before it are larger than half the buffer. Bytes may be overwritten in
// place; later reads see them.
//
// A line is at most 4,095 bytes, its line feed included. A longer one arrives in pieces, each of
// which is a line to every caller. A NUL byte ends a line early, the rest of it is lost.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "driver/platform/file.h"

// Results of reading a line or an entry, beside 0 for success.
constexpr int END_OF_FILE = -1;
constexpr int READ_ERROR = -2;

// A place in a file, in bytes from its beginning.
struct FilePosition {
    off_t offset = 0;
};

class LineReader {
public:
    // Opens `name`, which must exist, for reading and writing, with the additional open(2) flags.
    // Returns 0, or -1 with the reason in errno.
    int open(const std::string& name, int flags = 0);

    // Closes the file if it is open. Returns 0, or -1 when the system reports a late write error.
    int close();
    bool isOpen() const {
        return file_.isOpen();
    }

    // Reads the next line or piece of one; `line` is valid until this reader is used again.
    // Returns 0, END_OF_FILE or READ_ERROR. An error stays until the file is opened anew.
    int readLine(std::string_view& line);

    // The current offset as ftell(3) gives it: -1 when the file has no positions.
    long tell() const;

    // As fgetpos(3) and fsetpos(3): return 0, or -1 with the reason in errno.
    int getPosition(FilePosition& position);
    int setPosition(const FilePosition& position);

    // Writes `text` over the file's bytes from `position` on, at once. The current position stays.
    // Returns 0, or -1 with the reason in errno.
    int overwrite(const FilePosition& position, std::string_view text);

    // The error number of the read or overwrite that failed, or 0.
    int error() const {
        return error_;
    }

private:
    int fill();

    File file_;
    std::vector<char> buffer_;
    std::size_t next_ = 0;    // index in the buffer of the next byte to hand out
    std::size_t end_ = 0;     // end of the bytes in the buffer
    std::size_t mark_ = 0;    // index of the last position asked for
    off_t bufferOffset_ = 0;  // where in the file the buffer begins
    bool hasPositions_ = false;
    int error_ = 0;
};

// The line read last, by whoever read it; a view into its reader's buffer, valid until that reader
// is used again or closed.
extern std::string_view nextLine;

// Counts the attempts to read a line, failed ones included.
extern std::uint32_t lineNum;

// Reads the next line of `stream` into `buffer`, which is empty unless the result is 0. Returns
// what LineReader::readLine returns.
int getNextLine(std::string_view& buffer, LineReader& stream);

// Whether a line holds nothing but spaces, line feeds and carriage returns. A tab is not blank.
bool isBlankLine(std::string_view line);

// Whether a line is a comment: its very first character is "#".
bool isCommentLine(std::string_view line);

// Rewrites a line as a blank one of the same length: spaces, then CR LF. A line of fewer than two
// characters becomes CR LF.
void blankLine(std::string& line);
