#include "supervised_switch.h"

#include "ipc/set_queue.h"
#include "supervision/traps.h"

void answering_port::channel_status(int channel, std::uint8_t status, std::uint8_t sub_status) {
    // Channel A's status is answer byte 6, its sub-status byte 3; channel B's are 10 and 7.
    channel_codes[channel == 0 ? 3 : 7] = status;
    channel_codes[channel == 0 ? 0 : 4] = sub_status;
}

supervision_test::supervision_test() {
    poe_internal_set_queue_init();
    llp_new = {};
    g_poe_drv_msg = {};
    the_world.controller = [this](std::uint32_t, frame_bytes& frame) { return answer(frame); };
    fd_poe_kernel_drv = system_open_device("/dev/poe_kernel_drv");
    the_world.story.clear();
    state = begin_supervision();
}

int supervision_test::answer(frame_bytes& frame) const {
    const std::uint8_t key = frame[0];
    const std::uint8_t selected = frame[2];
    if (deaf.contains({key, selected}) || deaf.contains({key, -1})) return -1;
    const bool damaged = broken.contains({key, selected});
    const answering_port& p = ports[selected % 4];
    const auto high = [](std::uint16_t word) { return static_cast<std::uint8_t>(word >> 8); };
    const auto low = [](std::uint16_t word) { return static_cast<std::uint8_t>(word & 0xFF); };
    std::vector<std::uint8_t> head{key, frame[1], selected};
    const auto add_words = [&](auto... words) { (head.insert(head.end(), {high(words), low(words)}), ...); };
    switch (key) {
        case power_status_key:
            head = {key, 0, 0, 0, 0, 0, active_bank};
            break;
        case status_key:
            head.insert(head.end(), {p.state, p.detail, 0, 0, p.port_type});
            break;
        case measurement_key:
            add_words(p.voltage_count, p.current, p.temperature_count, p.power);
            break;
        case counters_key:
            head.insert(head.end(), p.counters.begin(), p.counters.end());
            break;
        case bank_key:
            head = {key, frame[1], 2, high(bank_power), low(bank_power)};
            break;
        case channel_status_key:
            head.insert(head.end(), p.channel_codes.begin(), p.channel_codes.end());
            break;
        case channel_measurement_key:
            add_words(p.channel_measures[0], p.channel_measures[1], p.channel_measures[2], p.channel_measures[3]);
            break;
        default:
            head = {key, 0};
            break;
    }
    frame = answer_frame(head);
    if (damaged) frame[11] = static_cast<std::uint8_t>(frame[11] + 1);
    return 0;
}

void supervision_test::passes(int count) {
    for (int i = 0; i < count; i++)
        supervise_once(state);
}

void supervision_test::enable_all_ports() {
    for (std::uint8_t number = 0; number < 4; number++)
        enable(number);
}

void supervision_test::queue(std::vector<std::uint8_t> request) {
    poe_internal_tx_queue_data(request.data(), static_cast<unsigned>(request.size()));
}

std::vector<frame_bytes> supervision_test::sent() {
    frames bytes;
    for (const sent_frame& frame : the_world.frames)
        bytes.push_back(frame.bytes);
    the_world.frames.clear();
    return bytes;
}

std::vector<std::string> supervision_test::sent_keys() {
    std::vector<std::string> keys;
    for (const frame_bytes& frame : sent()) {
        char text[8];
        std::snprintf(text, sizeof text, frame[2] == 0xFF ? "%02x" : "%02x %x", frame[0], frame[2]);
        keys.emplace_back(text);
    }
    return keys;
}

std::vector<std::vector<std::uint8_t>> supervision_test::traps() {
    std::vector<std::vector<std::uint8_t>> all;
    for (const pipe_write& write : the_world.pipe_writes)
        all.push_back(write.bytes);
    the_world.pipe_writes.clear();
    return all;
}

frame_bytes one_port_frame(std::uint8_t key, std::uint8_t port, std::uint8_t value) {
    return request_frame({key, 0, port, value});
}

frames inline_mode_2_frames(std::uint8_t port) {
    return {one_port_frame(0x08, port, 0), one_port_frame(0x0F, port, 2), one_port_frame(0x0C, port, 6),
            one_port_frame(0x12, port, 1)};
}

frames operator+(frames some, const frames& more) {
    some.insert(some.end(), more.begin(), more.end());
    return some;
}

std::vector<std::uint8_t> trap_of(const std::array<std::uint8_t, 16>& body) {
    std::vector<std::uint8_t> bytes{0xAB, 0x31, 0x12, 0x83, 0x07};
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}
