// A folder of its own for each test, and whole files as texts.
//
// A failure to create, write or read throws std::runtime_error, which ends the test or the
// benchmark as a failed one.
#pragma once

#include <string>
#include <string_view>

// An empty folder that is removed, with everything in it, when the object goes.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    // The path of `name` in the folder.
    std::string path(std::string_view name) const;

private:
    std::string folder_;
};

// Writes `content` as the whole of the file `path`; its name is returned for use on the spot.
std::string writeFile(const std::string& path, std::string_view content);

// The whole of the file `path`.
std::string readFile(const std::string& path);

bool fileExists(const std::string& path);

// The permission bits of `path`, such as 0600.
int fileMode(const std::string& path);

// Creates a named pipe, which can be opened for reading and writing but has no positions.
std::string makePipe(const std::string& path);
