// A second implementation of reading, deleting and stepping over: line by line with the standard
// library's own files, as simple as possible.
#pragma once

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

class WorkFileModel {
public:
    explicit WorkFileModel(const std::string& path) : stream_(std::fopen(path.c_str(), "rb+")) {
    }

    long position() const {
        return std::ftell(stream_.get());
    }

    void setPosition(long offset) {
        std::fseek(stream_.get(), offset, SEEK_SET);
    }

    // The lines of the next entry, comments left out; the position stays. `result` is 0 or -1.
    std::vector<std::string> read(int& result) {
        const long start = position();
        std::vector<std::string> lines;
        result = -1;
        while (readLine()) {
            if (isBlank() && !lines.empty()) {
                result = 0;
                break;
            }
            if (!isBlank() && line_[0] != '#') {
                lines.emplace_back(line_);
            }
        }
        setPosition(start);
        return lines;
    }

    void stepOver() {
        bool hasBegun = false;
        while (readLine() && !(isBlank() && hasBegun)) {
            hasBegun = hasBegun || !isBlank();
        }
    }

    void remove() {
        bool hasBegun = false;
        for (long before = position(); readLine(); before = position()) {
            if (!isBlank()) {
                hasBegun = true;
                setPosition(before);
                blank();
                std::fputs(line_, stream_.get());
                std::fflush(stream_.get());
            } else if (hasBegun) {
                return;
            }
        }
    }

private:
    struct Close {
        void operator()(std::FILE* file) const {
            std::fclose(file);
        }
    };

    bool readLine() {
        return std::fgets(line_, sizeof line_, stream_.get()) != nullptr;
    }

    bool isBlank() const {
        return std::strspn(line_, " \r\n") == std::strlen(line_);
    }

    void blank() {
        const std::size_t length = std::strlen(line_) < 2 ? 2 : std::strlen(line_);
        std::memset(line_, ' ', length);
        std::memcpy(line_ + length - 2, "\r\n", 3);
    }

    std::unique_ptr<std::FILE, Close> stream_;
    char line_[4096] = {};
};
