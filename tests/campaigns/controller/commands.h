// The second oracle: every command of the controller, what its request is and what its answer means, by tables of its
// own; and a way to have the daemon run it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "door.h"

namespace campaign {

using values = std::vector<std::uint32_t>;

struct command {
    std::string name;
    frame request;
    bool is_query;
    // Has the daemon run it. `record` enters with what the caller's record held, and leaves with what it holds then.
    std::function<int(values& record)> run;
    values before;                                        // what the record holds
    std::function<values(const frame&, values)> decoded;  // what it holds after this answer
    std::vector<std::size_t> result_bytes;                // of a setting: a 1 in one of them is a refusal
};

// The transport by itself stands among the commands under this name: its record is the caller's frame.
inline constexpr const char* transport_alone = "poe_kernel_drv_send_recv";

// Every query and every setting; a port, index or bank for each where it takes one.
const std::vector<command>& commands();

}  // namespace campaign
