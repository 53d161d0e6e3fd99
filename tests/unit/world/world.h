// The far side of the platform door in unit tests. Linked in place of poe_system (and of the IPC and link monitor
// libraries), it lets a module run at full speed without hardware, root or sleeping, and remembers what it did.
//
// A test derives its fixture from `world_test`, sets what the world answers, calls the module, and looks at what was
// recorded. One world a process; every test begins with a fresh one (records_test in world/records.h: with fresh shared
// records too).
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/system.h"

using frame_bytes = std::array<std::uint8_t, 12>;

struct sent_frame {
    std::uint32_t wait;
    frame_bytes bytes;
    bool operator==(const sent_frame&) const = default;
};

struct sent_reply {
    int socket;
    std::string path;  // of the peer
    std::vector<std::uint8_t> bytes;
    std::int64_t timeout_us;
    std::array<std::uint8_t, 110> peer;  // the whole address
};

struct cpld_write {
    std::uint8_t register_number, value, mask;
    bool operator==(const cpld_write&) const = default;
};

struct pipe_write {
    std::string path;
    std::vector<std::uint8_t> bytes;
};

struct test_world {
    // --- what the world does; set by the test
    // -------------------------------------------------------------------------

    // Answers one controller transaction in place and returns ioctl's result. Default: echoes the key, byte 1 as sent,
    // all data 0, right checksum.
    std::function<int(std::uint32_t wait, frame_bytes& frame)> controller;
    std::array<std::uint8_t, 256> cpld_registers{};
    bool controller_device_missing = false;
    bool cpld_device_missing = false;
    bool cpld_ioctl_fails = false;
    bool link_monitor_fails = false;
    std::array<bool, 4> link_up{};
    std::map<std::string, std::string> files;  // contents by path; system_file_exists looks here too
    bool files_cannot_be_written = false;
    bool pipe_missing = false;
    int send_result = 0;                     // negative: sending fails with it; otherwise the length is returned
    std::function<void()> on_send;           // called while a reply is sent
    std::function<void()> on_memory_return;  // called while free memory goes back to the system
    int start_thread_result = 0;
    system_time monotonic{};
    std::uint32_t uptime_s = 0;
    std::int32_t wall_clock_s = 0;
    // Called by system_sleep_for; default: advances `monotonic` by the span and returns 0.
    std::function<int(const system_time& span, system_time& left)> sleep_for;
    // Called with each line as it joins the story, and with "send" when a reply is sent.
    std::function<void(const std::string& line)> witness;
    // Takes the lines for people; default: they go to standard output and standard error.
    std::function<void(int descriptor, std::string_view line)> on_line;
    bool keeps_story = true;  // false spares the time that the story costs; the witness then hears of sends alone

    // --- what was done; read by the test
    // ------------------------------------------------------------------------------

    std::vector<sent_frame> frames;  // every attempt, as handed to the controller device
    std::vector<cpld_write> cpld_writes;
    std::vector<std::uint32_t> sleeps_us;
    std::vector<std::string> shell_commands;
    std::vector<sent_reply> replies;
    std::vector<pipe_write> pipe_writes;
    std::vector<void* (*)(void*)> started_threads;
    int open_descriptors = 0;
    int link_queries = 0;
    int memory_returns = 0;
    // Everything above in order, one line each: "frame 42 00 01 ...", "cpld 10 0 15", "sleep 550000", "shell ...",
    // "append PATH TEXT", "replace PATH", "remove PATH", "pipe PATH", "link", "open PATH".
    std::vector<std::string> story;
};

extern test_world the_world;

// Puts a right checksum into byte 11; computed here, not by the daemon.
void seal(frame_bytes& frame);

// A frame that begins with `head`, the rest 0xFF (requests) or 0 (answers), sealed.
frame_bytes request_frame(std::vector<std::uint8_t> head);
frame_bytes answer_frame(std::vector<std::uint8_t> head);

// Keys of the frames sent so far, in order.
std::vector<int> keys_sent();

// A peer address as a receive delivers it: 110 bytes, family 1, `path` behind it.
std::array<std::uint8_t, 110> peer_named(const std::string& path);

class world_test : public testing::Test {
  protected:
    world_test();
};
