// A switch on the bench: asks the controller as the daemon does and reads the answers by tables of its own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "models/switch_model.h"

namespace vswitch {

inline frame request_of(std::uint8_t key, std::initializer_list<unsigned> data = {}, std::uint8_t selector = 0) {
    frame bytes{};
    bytes.fill(0xFF);
    bytes[0] = key;
    bytes[1] = selector;
    std::size_t at = 2;
    for (const unsigned byte : data)
        bytes[at++] = static_cast<std::uint8_t>(byte);
    unsigned sum = 0;
    for (std::size_t i = 0; i < 11; i++)
        sum += bytes[i];
    bytes[11] = static_cast<std::uint8_t>(sum & 0xFF);
    return bytes;
}

struct seen_port {
    unsigned status;  // as the daemon numbers it
    unsigned type;
    unsigned power_class;
};

struct seen_channel {
    unsigned status;
    unsigned power_class;
    unsigned voltage;  // 0.1 V
    unsigned current;  // mA
    unsigned milliwatts() const { return current * (voltage * 100) / 1000; }
};

struct switch_bench : testing::Test {
    switch_model model{1};

    frame ask(std::uint8_t key, std::initializer_list<unsigned> data = {}, std::uint8_t selector = 0) {
        return model.transact(9, request_of(key, data, selector), 0).bytes;
    }

    void after_ms(std::uint64_t milliseconds) { model.transact(9, request_of(0x40), milliseconds * 1000); }

    std::string say(const std::string& line, bool json = false) {
        const verb_result result = model.verb(words_of(line), json);
        EXPECT_TRUE(result.ok) << line << ": " << result.text;
        return result.text;
    }

    std::string refuse(const std::string& line) {
        const verb_result result = model.verb(words_of(line), false);
        EXPECT_FALSE(result.ok) << line << ": " << result.text;
        return result.text;
    }

    static std::vector<std::string> words_of(const std::string& line) {
        std::istringstream words(line);
        std::vector<std::string> list;
        for (std::string word; words >> word;)
            list.push_back(word);
        return list;
    }

    // What a controller is programmed with before service: method, matrix, reset, banks, ports off, limits, save.
    void program(unsigned budget_w = 300) {
        ask(0xC0, {}, 2);
        ask(0x10, {2});
        ask(0x05, {0, 4});
        for (unsigned port = 0; port < 4; port++)
            ask(0x06, {port, 1, 0, 2 * port, 2 * port + 1});
        ask(0x05, {1, 4});
        ask(0x02, {1});
        const unsigned counts = budget_w * 10;
        for (unsigned bank = 0; bank < 8; bank++)
            ask(0x04, {bank, counts / 256, counts % 256, 0, 0});
        ask(0x0E, {179, 0xFF, 9});
        set_all(0x01, 0);
        set_all(0x14, 225);
        set_all(0x15, 0);
        ask(0x16, {6});
        ask(0xC0, {}, 1);
    }

    void set_all(std::uint8_t key, unsigned value) { ask(key, {0, value, 1, value, 2, value, 3, value}); }
    void switch_on(unsigned port) { ask(0x01, {port, 1}); }
    void all_on() { set_all(0x01, 1); }

    unsigned translated(unsigned state, unsigned error, unsigned sub_status, bool channel, unsigned type) {
        switch (state) {
            case 1:
                if (sub_status == 6) return 2;
                if (sub_status == 4) return 1;
                return channel == (type == 2) ? 12 : 2;
            case 2:
                return 1;
            case 4:
                return error == 2 ? 5 : error == 3 ? 3 : error == 4 ? 4 : 99;
            case 6:
                return 9;
            default:
                return state;
        }
    }

    seen_port port(unsigned number) {
        const frame answer = ask(0x42, {number});
        EXPECT_EQ(answer[2], number);
        return {.status = translated(answer[3], answer[4], answer[4] & 0x0F, false, answer[7]),
                .type = answer[7],
                .power_class = answer[4] / 16U};
    }

    seen_channel channel(unsigned port_number, unsigned which) {
        const frame status = ask(0x4E, {port_number});
        const frame measured = ask(0x4F, {port_number});
        const std::size_t at = which == 0 ? 3 : 7;
        const unsigned type = ask(0x42, {port_number})[7];
        return {.status = translated(status[at + 3], status[at + 2], status[at], true, type),
                .power_class = status[at + 1],
                .voltage = (measured[at] * 256U + measured[at + 1]) * 6445 / 10000,
                .current = measured[at + 2] * 256U + measured[at + 3]};
    }

    unsigned consumed_mw(unsigned number) { return channel(number, 0).milliwatts() + channel(number, 1).milliwatts(); }

    // disconnected, overloaded, shorted, bad signature, denied
    std::vector<unsigned> take_events(unsigned number) {
        const frame answer = ask(0x45, {number, 1});
        return {answer[3], answer[4], answer[5], answer[7], answer[6]};
    }
};

struct programmed_switch : switch_bench {
    programmed_switch() {
        program();
        all_on();
    }
};

}  // namespace vswitch
