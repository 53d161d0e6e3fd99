#include "controller/frame.h"

#include <cstring>

void poe_cal_data_checksum(const controller_frame& frame, std::uint8_t& out) {
    const auto& [a, b, c, d, e, f, g, h, i] = frame.data;
    out = static_cast<std::uint8_t>(frame.key + frame.selector + a + b + c + d + e + f + g + h + i);
}

void poe_cal_data_fill_chk(controller_frame& frame) {
    poe_cal_data_checksum(frame, frame.checksum);
}

int is_succ_poe_chk_dat(const controller_frame& frame) {
    std::uint8_t expected;
    poe_cal_data_checksum(frame, expected);
    return frame.checksum == expected ? 1 : 0;
}

int is_fail_poe_chk_dat(const controller_frame& frame) {
    return is_succ_poe_chk_dat(frame) == 0 ? 1 : 0;
}

void _byte_code_print(int enable, const char* function_name, int line, const char* tag, const controller_frame& frame) {
    if (enable == 0) return;
    std::uint8_t b[sizeof frame];
    std::memcpy(b, &frame, sizeof frame);
    say("[%s() , %d]: %s: %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x %02x \n", function_name, line, tag,
        b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11]);
}
