// Keyed hashes of texts, for tables that names are looked up in.
//
// Anybody who may create a user chooses its name, and names with equal hashes would turn every
// lookup into a scan. So the hash is SipHash-1-3 (Aumasson and Bernstein, "SipHash: a fast
// short-input PRF", https://eprint.iacr.org/2012/351): without its key nobody can find such names,
// and every bit of the text reaches every bit of the result. One multiplication for each eight
// bytes would be faster, but such names can be made for it.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

using HashKey = std::array<std::uint64_t, 2>;

// The hash of the text with its ASCII letters in lower case.
std::uint64_t hashIgnoringCase(std::string_view text, const HashKey& key);
