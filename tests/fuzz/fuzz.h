// What a fuzz target is made of: the entry that takes one input, perhaps a mutator of its own, and claims about what
// the product did. A claim that does not hold ends the process, so that the fuzzer keeps the input.
#pragma once

#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned seed);
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);

namespace fuzz {

using bytes_view = std::span<const std::uint8_t>;

inline void must(bool holds, const char* claim) {
    if (holds) return;
    std::fprintf(stderr, "NOT SO: %s\n", claim);
    std::abort();
}

// The same for two numbers; both are shown.
template <typename left, typename right>
void must_equal(left is, right should_be, const char* claim) {
    if (static_cast<std::int64_t>(is) == static_cast<std::int64_t>(should_be)) return;
    std::fprintf(stderr, "NOT SO: %s: is %" PRId64 ", should be %" PRId64 "\n", claim, static_cast<std::int64_t>(is),
                 static_cast<std::int64_t>(should_be));
    std::abort();
}

// The same for bytes; the first that differs is shown.
inline void must_equal_bytes(bytes_view is, bytes_view should_be, const char* claim) {
    must_equal(is.size(), should_be.size(), claim);
    for (std::size_t at = 0; at < is.size(); at++) {
        if (is[at] == should_be[at]) continue;
        std::fprintf(stderr, "NOT SO: %s: byte %zu is %02x, should be %02x\n", claim, at, is[at], should_be[at]);
        std::abort();
    }
}

// Bytes of an input, in order; zeros once it has ended.
struct byte_source {
    bytes_view left;
    std::uint8_t take() {
        if (left.empty()) return 0;
        const std::uint8_t byte = left.front();
        left = left.subspan(1);
        return byte;
    }
    std::uint16_t take16() {
        const unsigned low = take();
        return static_cast<std::uint16_t>(low | unsigned{take()} << 8);
    }
    std::uint32_t take32() {
        const std::uint32_t low = take16();
        return low | std::uint32_t{take16()} << 16;
    }
};

// --- little-endian numbers in messages, apart from the daemon's own way of putting them there ---

inline std::uint64_t number_at(bytes_view message, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = width; i-- > 0;)
        value = value << 8 | message[at + i];
    return value;
}

template <typename bytes>
void put_number(bytes& message, std::size_t at, std::size_t width, std::uint64_t value) {
    for (std::size_t i = 0; i < width; i++)
        message[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

}  // namespace fuzz
