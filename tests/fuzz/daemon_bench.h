// A daemon in this process, as it stands after its start: shared records at their defaults, an empty queue, the
// controller's device open, no trouble counted. Behind its door is the world of the unit tests.
#pragma once

#include <string>
#include <vector>

#include "controller/counters.h"
#include "controller/error_accounting.h"
#include "fuzz.h"
#include "ipc/set_queue.h"
#include "stats/record.h"
#include "supervision/cycle.h"
#include "supervision/readings.h"
#include "supervision/traps.h"
#include "world/records.h"

namespace fuzz {

struct said_line {
    int descriptor;
    std::string text;
};

class daemon_bench : public records_test {
  public:
    daemon_bench() {
        the_world.keeps_story = false;
        the_world.on_line = [this](int descriptor, std::string_view line) {
            must(!line.empty() && line.find('\n') == line.size() - 1, "what is said is one whole line");
            must(line.size() <= 512 && line.find('\0') == line.npos, "a line is text of a bounded length");
            said.push_back({descriptor, std::string(line)});
        };
        clear_communication_counters();
        clear_error_write_to_flash_flags();
        drain_queue();
        poe_internal_set_queue_init();
        llp_new = {};
        g_poe_drv_msg = {};
        g_port_stats = {};
        g_port_stats_cfg = {};
        fd_poe_kernel_drv = system_open_device("/dev/poe_kernel_drv");
        state = begin_supervision();
    }
    ~daemon_bench() override {
        drain_queue();
        the_world = test_world{};
    }

    supervision_state state{};
    std::vector<said_line> said;  // since somebody cleared it

  private:
    void TestBody() override {}

    static void drain_queue() {
        unsigned char record[longest_set_record];
        int length = sizeof record;
        while (poe_internal_rx_queue_data(record, &length) == 0)
            length = sizeof record;
    }
};

}  // namespace fuzz
