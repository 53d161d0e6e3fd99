// Numbers as their bytes lie on a wire, whatever the machine's own byte order: le16, le32, le64, lef32 in client
// messages, traps and records read by clients; be16 in controller frames. Records made of them have no padding and no
// alignment, and enter and leave byte buffers by copying.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

template <typename number, std::endian order>
struct wire_number {
    static_assert(std::is_unsigned_v<number>);
    std::uint8_t bytes[sizeof(number)];

    constexpr operator number() const { return swapped(std::bit_cast<number>(*this)); }  // reads like the number it is
    constexpr wire_number& operator=(number value) { return *this = std::bit_cast<wire_number>(swapped(value)); }

  private:
    // From the machine's byte order into this one, or back.
    static constexpr number swapped(number value) {
        if constexpr (order == std::endian::native) {
            return value;
        } else {
            std::uint64_t reversed = 0;
            for (std::size_t i = 0; i < sizeof(number); i++)
                reversed = reversed << 8 | (std::uint64_t{value} >> 8 * i & 0xFF);
            return static_cast<number>(reversed);
        }
    }
};

using be16 = wire_number<std::uint16_t, std::endian::big>;
using le16 = wire_number<std::uint16_t, std::endian::little>;
using le32 = wire_number<std::uint32_t, std::endian::little>;
using le64 = wire_number<std::uint64_t, std::endian::little>;

// A single-precision number as the four bytes of its little-endian pattern.
struct lef32 {
    le32 pattern;
    constexpr operator float() const { return std::bit_cast<float>(std::uint32_t{pattern}); }
    constexpr lef32& operator=(float value) {
        pattern = std::bit_cast<std::uint32_t>(value);
        return *this;
    }
};

// A struct that mirrors a wire byte for byte.
template <typename record, std::size_t size>
concept wire_record = sizeof(record) == size && alignof(record) == 1 && std::is_trivially_copyable_v<record>;

// Copies a record out of bytes; the caller has checked that there are enough.
template <typename record>
record record_from(const void* bytes) {
    record value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}
