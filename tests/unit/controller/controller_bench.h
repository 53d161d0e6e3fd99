// The bench for everything that talks to the controller: an open device, fresh counters and marks, a controller that
// answers as told, and what was said on standard error.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "controller/counters.h"
#include "controller/error_accounting.h"
#include "controller/frame.h"
#include "controller/status.h"
#include "core/paths.h"
#include "world/records.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// "9: 42 00 02 ff ff ..." : the driver's wait value and the frame.
inline std::string shown(std::uint32_t wait, const frame_bytes& frame) {
    std::string text = std::to_string(wait) + ":";
    for (const std::uint8_t byte : frame) {
        char two[4];
        std::snprintf(two, sizeof two, " %02x", byte);
        text += two;
    }
    return text;
}

// A request that begins with `head`, as the controller device gets it.
inline std::string asked(std::vector<std::uint8_t> head, std::uint32_t wait = 9) {
    return shown(wait, request_frame(std::move(head)));
}

inline controller_frame as_frame(const frame_bytes& bytes) {
    return std::bit_cast<controller_frame>(bytes);
}
inline frame_bytes as_bytes(const controller_frame& frame) {
    return std::bit_cast<frame_bytes>(frame);
}

// One attempt's end: what the driver leaves in the record, and ioctl's result.
struct scripted {
    frame_bytes frame;
    int result = 0;
};

class controller_bench : public records_test {
  protected:
    controller_bench() {
        clear_communication_counters();
        clear_error_write_to_flash_flags();
        fd_poe_kernel_drv = system_open_device("/dev/poe_kernel_drv");
        the_world.story.clear();
    }

    // --- the controller
    // ------------------------------------------------------------------------------------------------

    void answers(const frame_bytes& answer) {
        the_world.controller = [answer](std::uint32_t, frame_bytes& frame) {
            frame = answer;
            return 0;
        };
    }

    // Answers each key with its own frame; a key without one gets the request's key, byte 1 and zeros.
    void answers_by_key(std::map<int, frame_bytes> by_key) {
        the_world.controller = [by_key](std::uint32_t, frame_bytes& frame) {
            const auto found = by_key.find(frame[0]);
            frame = found != by_key.end() ? found->second : answer_frame({frame[0], frame[1]});
            return 0;
        };
    }

    void follows(std::vector<scripted> script) {
        the_world.controller = [script, next = std::size_t{0}](std::uint32_t, frame_bytes& frame) mutable {
            const scripted& step = script.at(next++);
            frame = step.frame;
            return step.result;
        };
    }

    // The request comes back as it was, and ioctl fails.
    void is_dead() {
        the_world.controller = [](std::uint32_t, frame_bytes&) { return -1; };
    }

    void reports(char report_key) {
        the_world.controller = [report_key](std::uint32_t, frame_bytes& frame) {
            frame[1] = static_cast<std::uint8_t>(report_key);
            seal(frame);
            return 0;
        };
    }

    void answers_with_a_wrong_checksum() {
        the_world.controller = [](std::uint32_t, frame_bytes& frame) {
            seal(frame);
            frame[11]++;
            return 0;
        };
    }

    // --- what was seen
    // -------------------------------------------------------------------------------------------------

    static std::vector<std::string> conversation() {
        std::vector<std::string> lines;
        for (const auto& frame : the_world.frames)
            lines.push_back(shown(frame.wait, frame.bytes));
        return lines;
    }

    // What `action` says on standard error.
    template <typename whatever>
    static std::string said_during(whatever action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    // Its result, when what it says is another test's business.
    template <typename operation>
    static int quietly(operation run) {
        int status = 0;
        said_during([&] { status = run(); });
        return status;
    }

    static std::string marks(const char* path) {
        const auto file = the_world.files.find(path);
        return file == the_world.files.end() ? "" : file->second;
    }
};

// An answer whose checksum is wrong: the quickest way for one step to fail, with -2.
inline frame_bytes damaged(frame_bytes answer) {
    answer[11]++;
    return answer;
}

// The text of a failure report: "[name() , line]: text!!!", whatever the line.
inline testing::Matcher<std::string> reported_under(const std::string& name, const std::string& text) {
    std::string pattern = "^\\[" + name + "\\(\\) , [0-9]+\\]: ";
    for (const char c : text) {
        if (c == '[' || c == ']' || c == '(' || c == ')') pattern += '\\';
        pattern += c;
    }
    return testing::ContainsRegex(pattern + "!!!\n$");
}
