#include "ipc/dispatch.h"

#include <regex>
#include <set>

#include "ipc/message_table.h"
#include "ipc_test.h"
#include "statistics_stand_ins.h"

namespace {

constexpr int any = -1;
constexpr std::size_t buffer_size = 2352;

// The protocol as clients know it, written out a second time.
struct served {
    int length;
    std::string size_error;
    int reply_type;  // of the reply that tells which handler ran; stand_in = a statistics handler
    std::size_t reply_length;
};
constexpr int stand_in = -1;
const std::map<int, served> protocol{
    {0, {any, "", 0, 16}},
    {1, {20, "get-one-port-pmt size error!", 1, 20}},
    {2, {any, "", 2, 56}},
    {5, {any, "", 5, 28}},
    {6, {100, "get-one-port-stu size error!", 134, 100}},
    {7, {any, "", 1, 376}},
    {11, {any, "", 11, 396}},
    {12, {any, "", 12, 80}},
    {13, {any, "", 13, 12}},
    {14, {any, "", 14, 12}},
    {15, {any, "", 15, 44}},
    {16, {any, "", stand_in, 0}},
    {17, {2352, "T_POE_IPC_ONE_PORT_STATS size error!", stand_in, 0}},
    {18, {any, "", stand_in, 0}},
    {83, {9, "T_POE_IPC_PORT_STATS_CLEAR size error!", stand_in, 0}},
    {128, {16, "set-sys-pwr-pmt size error!", 128, 8}},
    {129, {20, "set-one-port-pmt size error!", 129, 8}},
    {130, {56, "set-all-port-pmt size error!", 130, 8}},
    {132, {20, "set-all-port-same-pmt size error!", 132, 8}},
    {137, {12, "set-one-port-sch-on-off size error!", 137, 8}},
    {138, {24, "set-all-port-sch-on-off size error!", 138, 8}},
    {142, {12, "set-pwr-bnk-pmt size error!", 142, 8}},
    {143, {9, "set-pwr-bnk-pmt size error!", 143, 8}},
    {144, {9, "T_POE_IPC_PORT_STATS_CFG size error!", stand_in, 0}},
    {148, {12, "DEF_POE_IPC_PMT_HTYPE_FAKE_PORT_STATS size error!", stand_in, 0}},
};

// A request of a type whose payload is valid wherever a payload is looked at without a line being said.
bytes request_of(int type, std::size_t length) {
    static const bytes block{0, 1, 1, 1, 1, 10, 0, 0, 100, 0, 0, 0};
    bytes message(length);
    if (length > 0) message[0] = static_cast<std::uint8_t>(type);
    for (std::size_t i = 8; i < length; i++)
        message[i] = block[(i - 8) % block.size()];
    return message;
}

std::string size_error_line(const std::string& text) {
    return R"(\[poe_drv\.c , poe_rx_ipc_content_process\(\) , [1-9][0-9]*\]: )" + text + "\n";
}

class dispatch : public ipc_test {
  protected:
    dispatch() { statistics_calls.clear(); }

    int receive(bytes& message) {
        return poe_rx_ipc_content_process(client_socket, peer.data(), message.data(), static_cast<int>(message.size()));
    }

    void expect_handled(int type, const served& row, const bytes& message) {
        if (row.reply_type == stand_in) {
            ASSERT_EQ(statistics_calls.size(), 1U) << "type " << type << " length " << message.size();
            ASSERT_EQ(statistics_calls.count(type), 1U) << "type " << type << " length " << message.size();
            const stand_in_call& call = statistics_calls[type];
            ASSERT_EQ(call.socket, client_socket);
            ASSERT_EQ(call.peer, peer.data());
            ASSERT_EQ(call.message, message.data());
            ASSERT_EQ(call.length, static_cast<int>(message.size()));
            ASSERT_TRUE(the_world.replies.empty());
        } else {
            ASSERT_EQ(the_world.replies.size(), 1U) << "type " << type << " length " << message.size();
            ASSERT_EQ(the_world.replies[0].bytes[0], row.reply_type) << "type " << type;
            ASSERT_EQ(the_world.replies[0].bytes.size(), row.reply_length) << "type " << type;
            ASSERT_EQ(the_world.replies[0].socket, client_socket);
            ASSERT_EQ(the_world.replies[0].path, "/tmp/client");
            ASSERT_TRUE(statistics_calls.empty());
        }
    }
};

TEST_F(dispatch, every_type_at_every_length_reaches_its_handler_or_is_dropped_as_the_protocol_says) {
    for (int type = 0; type < 256; type++) {
        const auto row = protocol.find(type);
        std::size_t refused = 0;
        const std::string said = stderr_of([&] {
            for (std::size_t length = 1; length <= buffer_size + 1; length++) {
                bytes message = request_of(type, length);
                ASSERT_EQ(receive(message), 0);
                if (row == protocol.end() ||
                    (row->second.length != any && row->second.length != static_cast<int>(length))) {
                    ASSERT_TRUE(the_world.replies.empty()) << "type " << type << " length " << length;
                    ASSERT_TRUE(statistics_calls.empty()) << "type " << type << " length " << length;
                    refused++;
                } else {
                    expect_handled(type, row->second, message);
                    if (HasFatalFailure()) return;
                }
                the_world.replies.clear();
                statistics_calls.clear();
            }
        });
        if (HasFatalFailure()) return;
        if (row == protocol.end() || row->second.length == any) {
            ASSERT_EQ(said, "") << "type " << type;
            continue;
        }
        // One line for each request that was refused, all of them the same.
        const std::string first = said.substr(0, said.find('\n') + 1);
        ASSERT_TRUE(std::regex_match(first, std::regex(size_error_line(row->second.size_error)))) << first;
        std::string expected;
        for (std::size_t i = 0; i < refused; i++)
            expected += first;
        ASSERT_EQ(refused, buffer_size) << "type " << type;
        ASSERT_TRUE(said == expected) << "type " << type;
    }
}

TEST_F(dispatch, an_empty_message_is_dropped_without_being_looked_at) {
    const std::string said = stderr_of([&] {
        EXPECT_EQ(poe_rx_ipc_content_process(client_socket, peer.data(), nullptr, 0), 0);
        EXPECT_EQ(poe_rx_ipc_content_process(client_socket, peer.data(), nullptr, -1), 0);
    });

    EXPECT_EQ(said, "");
    EXPECT_TRUE(the_world.replies.empty());
}

TEST_F(dispatch, a_one_byte_request_for_the_system_parameters_is_answered) {
    bytes message{0};

    EXPECT_EQ(receive(message), 0);

    EXPECT_EQ(the_reply(), padded({0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 95, 0, 0}, 16));
}

TEST_F(dispatch, a_type_129_request_of_19_or_21_bytes_is_said_and_gets_no_reply) {
    for (const std::size_t length : {19U, 21U}) {
        bytes message = request_of(129, length);

        const std::string said = stderr_of([&] { receive(message); });

        EXPECT_TRUE(std::regex_match(said, std::regex(size_error_line("set-one-port-pmt size error!")))) << said;
        EXPECT_TRUE(the_world.replies.empty());
        EXPECT_FALSE(queue_has_records());
    }
}

TEST_F(dispatch, a_power_cycle_request_of_10_bytes_is_said_in_the_power_banks_words) {
    bytes message = request_of(143, 10);

    const std::string said = stderr_of([&] { receive(message); });

    EXPECT_TRUE(std::regex_match(said, std::regex(size_error_line("set-pwr-bnk-pmt size error!")))) << said;
    EXPECT_TRUE(the_world.replies.empty());
}

TEST_F(dispatch, the_one_port_queries_read_the_port_from_the_payload) {
    for (const auto& [type, length] : {std::pair{1, 20U}, std::pair{6, 100U}}) {
        for (std::uint8_t port = 0; port < 4; port++) {
            bytes message(length);
            message[0] = static_cast<std::uint8_t>(type);
            message[8] = port;

            receive(message);

            EXPECT_EQ(the_reply()[8], port) << "type " << type;
        }
    }
}

TEST_F(dispatch, the_same_parameters_request_is_changed_in_the_message_that_was_received) {
    bytes message = request_of(132, 20);
    message[8] = 9;

    receive(message);

    EXPECT_EQ(message[8], 0);
    EXPECT_EQ(pop(), message);
}

TEST_F(dispatch, a_sender_without_a_name_is_served_but_not_answered) {
    bytes message = request_of(129, 20);
    const std::array<std::uint8_t, 110> nobody{};

    EXPECT_EQ(poe_rx_ipc_content_process(client_socket, nobody.data(), message.data(), 20), 0);

    EXPECT_TRUE(the_world.replies.empty());
    EXPECT_EQ(pop(), message);
}

TEST_F(dispatch, the_table_names_exactly_the_types_of_the_protocol) {
    std::set<int> rows;
    for (const auto& row : ipc_messages)
        rows.insert(static_cast<int>(row.type));
    std::set<int> types;
    for (const auto& [type, row] : protocol)
        types.insert(type);

    EXPECT_EQ(rows, types);
    EXPECT_EQ(ipc_messages.size(), protocol.size());
}

}  // namespace
