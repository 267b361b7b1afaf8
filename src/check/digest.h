// Digests: entries summarised in numbers that are equal if the entries are.
//
// A line has a digest of 64 bits, the lines of an entry one of 40 bits. With ten million entries,
// two names collide in one of three hundred thousand checks, and a changed entry goes unnoticed
// once in a billion.
//
// Nobody can craft texts that collide more often, because digests are keyed with random bits of the
// run and never shown. A key is added to each word of a text, the words are multiplied in pairs,
// and the products are added up: for any two texts of one length, at most one set of keys in 2^64
// makes their sums equal (NH; Black and others, "UMAC: Fast and Secure Message Authentication",
// 1999). These sums are almost linear in the text: if they were the digests of lines, those of four
// crafted lines could cancel each other in a record. So every bit of a sum is mixed into every
// other. A record adds up the digests of its lines modulo a prime: modulo a power of two, the
// digests of some thousand copies of one line could add up to nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

std::uint64_t digestOf(std::string_view text);

// The same, but ASCII letters are compared case-insensitively.
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

// The sum of the digests of lines, in any order. Fits into 40 bits.
class LineSum {
public:
    LineSum() = default;
    explicit LineSum(std::uint64_t digest) : value_(digest % modulus) {
    }
    LineSum& operator+=(LineSum other) {
        value_ += other.value_;
        value_ -= value_ < modulus ? 0 : modulus;
        return *this;
    }
    LineSum& operator-=(LineSum other) {
        value_ += value_ < other.value_ ? modulus : 0;
        value_ -= other.value_;
        return *this;
    }
    bool operator==(const LineSum&) const = default;

    std::uint64_t value() const {
        return value_;
    }

private:
    static constexpr std::uint64_t modulus = (std::uint64_t{1} << 40U) - 87;  // a prime

    std::uint64_t value_ = 0;
};

// The sum for consecutive lines; empty ones, which no entry has, do not count.
LineSum sumOfLines(std::string_view lines);

// The lines of an entry, without their line ends.
struct LinesDigest {
    LineSum sum;              // in any order
    std::uint64_t chain = 0;  // in this order
    std::uint32_t count = 0;

    void add(std::uint64_t line);
};

// The lines of a text that arrives in parts, which need not end where lines do. Empty ones do not
// count: they are no part of an entry.
class TextDigest {
public:
    void add(std::string_view text);

    // Those that have ended.
    const LinesDigest& lines() const {
        return lines_;
    }

private:
    LinesDigest lines_;
    std::string rest_;  // the beginning of the next one
};

// A digest, or an offset in a file, in five bytes.
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

    static constexpr std::uint64_t max = (std::uint64_t{1} << 40U) - 1;

private:
    std::array<std::uint8_t, 5> bytes_ = {};
};
