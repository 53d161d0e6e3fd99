#include "datagrams/expectation.h"

#include <algorithm>

namespace campaign {
namespace {

// clang-format off
constexpr std::array rows{
    message_row{.type =   0, .request =    0, .reply_type =   0, .reply =   16, .size_error = nullptr, .is_queued = false},
    message_row{.type =   1, .request =   20, .reply_type =   1, .reply =   20, .size_error = "get-one-port-pmt size error!", .is_queued = false},
    message_row{.type =   2, .request =    0, .reply_type =   2, .reply =   56, .size_error = nullptr, .is_queued = false},
    message_row{.type =   5, .request =    0, .reply_type =   5, .reply =   28, .size_error = nullptr, .is_queued = false},
    message_row{.type =   6, .request =  100, .reply_type = 134, .reply =  100, .size_error = "get-one-port-stu size error!", .is_queued = false},
    message_row{.type =   7, .request =    0, .reply_type =   1, .reply =  376, .size_error = nullptr, .is_queued = false},
    message_row{.type =  11, .request =    0, .reply_type =  11, .reply =  396, .size_error = nullptr, .is_queued = false},
    message_row{.type =  12, .request =    0, .reply_type =  12, .reply =   80, .size_error = nullptr, .is_queued = false},
    message_row{.type =  13, .request =    0, .reply_type =  13, .reply =   12, .size_error = nullptr, .is_queued = false},
    message_row{.type =  14, .request =    0, .reply_type =  14, .reply =   12, .size_error = nullptr, .is_queued = false},
    message_row{.type =  15, .request =    0, .reply_type =  15, .reply =   44, .size_error = nullptr, .is_queued = false},
    message_row{.type =  16, .request =    0, .reply_type =  16, .reply =    9, .size_error = nullptr, .is_queued = false},
    message_row{.type =  17, .request = 2352, .reply_type =  17, .reply = 2352, .size_error = "T_POE_IPC_ONE_PORT_STATS size error!", .is_queued = false},
    message_row{.type =  18, .request =    0, .reply_type =  18, .reply =  168, .size_error = nullptr, .is_queued = false},
    message_row{.type =  83, .request =    9, .reply_type =  83, .reply =    8, .size_error = "T_POE_IPC_PORT_STATS_CLEAR size error!", .is_queued = false},
    message_row{.type = 128, .request =   16, .reply_type = 128, .reply =    8, .size_error = "set-sys-pwr-pmt size error!", .is_queued = true},
    message_row{.type = 129, .request =   20, .reply_type = 129, .reply =    8, .size_error = "set-one-port-pmt size error!", .is_queued = true},
    message_row{.type = 130, .request =   56, .reply_type = 130, .reply =    8, .size_error = "set-all-port-pmt size error!", .is_queued = true},
    message_row{.type = 132, .request =   20, .reply_type = 132, .reply =    8, .size_error = "set-all-port-same-pmt size error!", .is_queued = true},
    message_row{.type = 137, .request =   12, .reply_type = 137, .reply =    8, .size_error = "set-one-port-sch-on-off size error!", .is_queued = true},
    message_row{.type = 138, .request =   24, .reply_type = 138, .reply =    8, .size_error = "set-all-port-sch-on-off size error!", .is_queued = true},
    message_row{.type = 142, .request =   12, .reply_type = 142, .reply =    8, .size_error = "set-pwr-bnk-pmt size error!", .is_queued = true},
    message_row{.type = 143, .request =    9, .reply_type = 143, .reply =    8, .size_error = "set-pwr-bnk-pmt size error!", .is_queued = true},
    message_row{.type = 144, .request =    9, .reply_type = 144, .reply =    8, .size_error = "T_POE_IPC_PORT_STATS_CFG size error!", .is_queued = false},
    message_row{.type = 148, .request =   12, .reply_type = 148, .reply =    8, .size_error = "DEF_POE_IPC_PMT_HTYPE_FAKE_PORT_STATS size error!", .is_queued = false},
};
// clang-format on

using view = std::span<const std::uint8_t>;

constexpr int keep = -1;

int signed_at(view data, std::size_t offset) {
    return static_cast<std::int8_t>(data[offset]);
}

std::uint32_t word_at(view data, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i > 0; i--)
        word = word << 8U | data[offset + i - 1];
    return word;
}

bool is_keep_or(int value, int lowest, int highest) {
    return value == keep || (lowest <= value && value <= highest);
}

// A block of port parameters: 0 port, 1 enable, 2 priority, 3 schedule, 4 mode, 5 re-enable, 8 limit.
bool is_block(view block) {
    const std::uint32_t limit = word_at(block, 8);
    const bool keeps_limit = limit == 0xFFFFFFFFU;
    const bool says_something =
        signed_at(block, 1) != keep || signed_at(block, 2) != keep || signed_at(block, 3) != keep || !keeps_limit;
    return block[0] < ports && says_something && is_keep_or(signed_at(block, 1), 0, 1) &&
           is_keep_or(signed_at(block, 2), 1, 3) && is_keep_or(signed_at(block, 3), 0, 1) &&
           is_keep_or(signed_at(block, 4), 0, 4) && is_keep_or(signed_at(block, 5), 5, 60) &&
           (keeps_limit || (limit >= 10 && limit <= 900));
}

bool is_schedule_entry(view entry) {
    return entry[0] < ports && is_keep_or(signed_at(entry, 1), 0, 1);
}

bool is_accepted(std::uint8_t type, view message) {
    const view payload = message.subspan(std::min(envelope, message.size()));
    switch (type) {
        case 1:
        case 6:
            return payload[0] < ports;
        case 17:
            return word_at(payload, 0) < ports;
        case 128:
            for (const std::size_t i : {0U, 1U, 2U, 4U, 5U}) {
                if (!is_keep_or(signed_at(payload, i), 0, 1)) return false;
            }
            return is_keep_or(signed_at(payload, 3), 1, 99);
        case 129:
            return is_block(payload);
        case 130:
            for (std::size_t port = 0; port < ports; port++) {
                if (!is_block(payload.subspan(12 * port, 12))) return false;
            }
            return true;
        case 132: {
            bytes block(payload.begin(), payload.end());
            block[0] = 0;
            for (std::size_t i = 1; i <= 5; i++) {
                if (signed_at(block, i) == keep) return false;
            }
            return word_at(block, 8) != 0xFFFFFFFFU && is_block(block);
        }
        case 137:
            return is_schedule_entry(payload);
        case 138:
            for (std::size_t port = 0; port < ports; port++) {
                if (!is_schedule_entry(payload.subspan(4 * port, 4))) return false;
            }
            return true;
        default:
            return true;
    }
}

}  // namespace

std::span<const message_row> messages() {
    return rows;
}

expectation expected_of(view datagram) {
    if (datagram.empty()) return {};
    const view message = datagram.first(std::min(datagram.size(), longest_message));
    const auto* const row = std::ranges::find(rows, message[0], &message_row::type);
    if (row == rows.end()) return {};
    if (row->request != 0 && row->request != message.size()) return {.row = row, .is_size_error = true};
    if (!is_accepted(row->type, message)) return {.what = outcome::rejection, .row = row};
    expectation reply{.what = outcome::reply, .row = row};
    if (asks_for_one_port(row->type)) reply.port = message[envelope];
    return reply;
}

}  // namespace campaign
