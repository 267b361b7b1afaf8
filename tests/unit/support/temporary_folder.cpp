#include "support/temporary_folder.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

TemporaryFolder::TemporaryFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "ldif-migrate-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a folder " + pattern);
    }
    folder_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string TemporaryFolder::path(std::string_view name) const {
    return folder_ + '/' + std::string(name);
}

std::string writeFile(const std::string& path, std::string_view content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    std::ostringstream content;
    content << file.rdbuf();
    return std::move(content).str();
}

bool fileExists(const std::string& path) {
    return std::filesystem::exists(path);
}

int fileMode(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777) : -1;
}

std::string makePipe(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) != 0) {
        throw std::runtime_error("cannot create a pipe " + path);
    }
    return path;
}
