// Digests: entries boiled down to numbers that are equal when the entries are.
//
// 64 bits tell lines apart, and 40 bits the lines of whole entries: of ten million entries two
// names meet by chance once in three hundred thousand checks, and a changed entry goes unnoticed
// once in a billion.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

std::uint64_t digestOf(std::string_view text);

// The same for texts that are equal without regard to the case of ASCII letters.
std::uint64_t digestIgnoringCase(std::string_view text);

// The digest of a line that may arrive in blocks. Every block but the last has `blockSize` bytes.
class LineDigest {
public:
    static constexpr std::size_t blockSize = 64 * 1024;

    void add(std::string_view block);
    void addLine(std::string_view line);  // all its blocks

    std::uint64_t value() const {
        return value_;
    }

private:
    std::uint64_t value_ = 0;
};

std::uint64_t digestOfLine(std::string_view line);

// The lines of an entry, without their line ends.
struct LinesDigest {
    std::uint64_t sum = 0;    // in any order
    std::uint64_t chain = 0;  // in this order
    std::uint32_t count = 0;

    void add(std::uint64_t line);
};

// A digest, or a place in a file, in five bytes.
class Packed40 {
public:
    Packed40() = default;
    explicit Packed40(std::uint64_t value) {
        for (std::uint8_t& byte : bytes_) {
            byte = static_cast<std::uint8_t>(value);
            value >>= 8U;
        }
    }
    std::uint64_t value() const {
        std::uint64_t value = 0;
        for (std::size_t i = bytes_.size(); i > 0; --i) {
            value = value << 8U | bytes_[i - 1];
        }
        return value;
    }

    static constexpr std::uint64_t most = (std::uint64_t{1} << 40U) - 1;

private:
    std::array<std::uint8_t, 5> bytes_ = {};
};
