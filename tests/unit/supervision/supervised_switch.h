// A controller with four ports whose every answer a test can set, behind the fixture that all supervision tests share.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/records.h"
#include "supervision/cycle.h"
#include "supervision/readings.h"
#include "world/records.h"

// Command keys, and what a port answers to each of them.
inline constexpr std::uint8_t power_status_key = 0x41;
inline constexpr std::uint8_t status_key = 0x42;
inline constexpr std::uint8_t measurement_key = 0x44;
inline constexpr std::uint8_t counters_key = 0x45;
inline constexpr std::uint8_t bank_key = 0x4B;
inline constexpr std::uint8_t channel_status_key = 0x4E;
inline constexpr std::uint8_t channel_measurement_key = 0x4F;

struct answering_port {
    std::uint16_t voltage_count = 0, current = 0, temperature_count = 200, power = 0;
    std::uint8_t state = 0, detail = 0, port_type = 0;
    std::array<std::uint8_t, 5> counters{};           // answer bytes 3, 4, 5, 6, 7
    std::array<std::uint8_t, 8> channel_codes{};      // answer bytes 3 to 10
    std::array<std::uint16_t, 4> channel_measures{};  // answer words 3, 5, 7, 9

    void delivers() { state = 2; }
    // Channel A (0) reports a status and sub-status of its own; channel B (1) likewise.
    void channel_status(int channel, std::uint8_t status, std::uint8_t sub_status = 0);
};

class supervision_test : public records_test {
  protected:
    std::array<answering_port, 4> ports;
    std::uint16_t bank_power = 3000;  // 0.1 W
    std::uint8_t active_bank = 0;
    std::set<std::pair<int, int>> deaf;    // (key, byte 2) of requests that nobody answers; -1 = whatever byte 2
    std::set<std::pair<int, int>> broken;  // (key, byte 2) of requests answered with a wrong checksum
    supervision_state state{};

    supervision_test();

    void passes(int count);
    // Four polls, the system measurements and the collection, with an empty queue.
    void sweep() { passes(4); }
    static void enable(std::uint8_t number) { g_port_pmt[number].Port_Enable.set(1); }
    static void enable_all_ports();
    static void queue(std::vector<std::uint8_t> request);
    static void ticks_pass(std::uint32_t ticks) { g_poe_thread_tick_cnt.set(g_poe_thread_tick_cnt.get() + ticks); }
    static bool is_auto_off(int number) { return (g_port_pwr_auto_off >> number & 1) != 0; }
    static port_stu& recorded(std::size_t number) { return g_port_stu[number]; }

    // What was sent since the last look, in order.
    static std::vector<frame_bytes> sent();
    static std::vector<std::string> sent_keys();  // "44 2": key and byte 2 of each
    static std::vector<std::vector<std::uint8_t>> traps();

  private:
    int answer(frame_bytes& frame) const;
};

using frames = std::vector<frame_bytes>;

// The frames that settings are expected to send.
frame_bytes one_port_frame(std::uint8_t key, std::uint8_t port, std::uint8_t value);
frames inline_mode_2_frames(std::uint8_t port);
frames operator+(frames some, const frames& more);

// A trap's 21 bytes around its body.
std::vector<std::uint8_t> trap_of(const std::array<std::uint8_t, 16>& body);
