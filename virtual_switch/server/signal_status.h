// The exit status of a program that a signal ended, as shells count it.
#pragma once

namespace vswitch {

constexpr int status_after_signal(int number) {
    constexpr int base = 128;
    return base + number;
}

}  // namespace vswitch
