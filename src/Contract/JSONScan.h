#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Looking for bytes eight at a time in plain registers.
namespace Keelhaven::JSONScan {

inline constexpr std::uint64_t ones = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = ones * 0x80;

inline std::uint64_t load(const char *bytes)
{
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// High bit of every byte that equals `byte`. Bits above the first true one may be wrong.
constexpr std::uint64_t equal(std::uint64_t word, unsigned char byte)
{
    const std::uint64_t difference = word ^ (ones * byte);
    return (difference - ones) & ~difference & highBits;
}

/// High bit of every byte below `limit` (at most 0x80). Bits above the first true one may be wrong.
constexpr std::uint64_t below(std::uint64_t word, unsigned char limit)
{
    return (word - ones * limit) & ~word & highBits;
}

/// Index of the first marked byte of a word that is not zero.
constexpr int firstByte(std::uint64_t marks)
{
    static_assert(std::endian::native == std::endian::little);
    return std::countr_zero(marks) / 8;
}

/// First quote or backslash from `at` on, or `end`. `nonAscii` collects whether a byte above 0x7f was passed;
/// it may also be set by a byte shortly behind the result.
inline const char *stringBreak(const char *at, const char *end, bool &nonAscii)
{
    std::uint64_t seen = 0;
    for (; end - at >= 8; at += 8) {
        const std::uint64_t word = load(at);
        seen |= word;
        if (const std::uint64_t marks = equal(word, '"') | equal(word, '\\')) {
            nonAscii |= (seen & highBits) != 0;
            return at + firstByte(marks);
        }
    }
    for (; at < end && *at != '"' && *at != '\\'; ++at)
        seen |= static_cast<unsigned char>(*at);
    nonAscii |= (seen & highBits) != 0;
    return at;
}

/// Marks the bytes that a writer must escape.
constexpr std::uint64_t escapeMarks(std::uint64_t word)
{
    return equal(word, '"') | equal(word, '\\') | below(word, 0x20);
}

} // namespace Keelhaven::JSONScan
