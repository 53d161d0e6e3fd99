// What the floors answer with: replies as long as the daemon's.
#pragma once

#include <cstddef>

inline constexpr std::size_t longest_message = 2352;

// The length of the reply to a request of this type.
constexpr std::size_t reply_length(unsigned char type) {
    switch (type) {
        case 0:
            return 16;
        case 6:
            return 100;
        case 11:
            return 396;
        case 17:
            return longest_message;
        default:
            return 8;
    }
}
