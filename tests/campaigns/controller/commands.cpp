#include "commands.h"

#include <bit>
#include <initializer_list>

#include "controller/queries.h"
#include "controller/settings.h"
#include "controller/transport.h"

namespace campaign {

namespace {

frame request_of(std::uint8_t key, std::initializer_list<unsigned> data = {}, std::uint8_t selector = 0) {
    frame bytes{};
    bytes.fill(0xFF);
    bytes[0] = key;
    bytes[1] = selector;
    std::size_t at = 2;
    for (const unsigned byte : data)
        bytes[at++] = static_cast<std::uint8_t>(byte);
    vswitch::seal(bytes);
    return bytes;
}

std::uint32_t word(const frame& f, std::size_t at) {
    return f[at] * 256U + f[at + 1];
}
std::uint32_t hi(std::uint8_t byte) {
    return byte / 16U;
}
std::uint32_t lo(std::uint8_t byte) {
    return byte % 16U;
}
std::uint32_t low_16(double number) {
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(number)) & 0xFFFF;
}
std::uint32_t volts(std::uint32_t count) {
    return low_16(count * 0.6445);
}
std::uint32_t reason(std::uint32_t nibble) {
    return nibble == 15 ? 15 : (nibble + 16) * 2;
}

constexpr std::uint8_t poison = 0xA5;

// A record between two value lists: its fields, one after the other, in `fields`.
template <typename record, typename get, typename fields>
std::function<int(values&)> run_of(get ask, fields fields_of) {
    return [ask, fields_of](values& held) {
        record one{};
        std::size_t at = 0;
        fields_of(one,
                  [&](auto& field) { field = static_cast<std::remove_reference_t<decltype(field)>>(held.at(at++)); });
        const int status = ask(one);
        at = 0;
        fields_of(one, [&](auto& field) { held.at(at++) = static_cast<std::uint32_t>(field); });
        return status;
    };
}

values poisoned(std::size_t count) {
    return values(count, poison);
}

template <typename get, typename fields, typename decoding>
void add_query(std::vector<command>& list, const std::string& name, const frame& request, std::size_t count, get ask,
               fields fields_of, decoding decoded, auto record) {
    list.push_back({.name = name,
                    .request = request,
                    .is_query = true,
                    .run = run_of<decltype(record)>(ask, fields_of),
                    .before = poisoned(count),
                    .decoded = decoded,
                    .result_bytes = {}});
}

void add_setting(std::vector<command>& list, const std::string& name, const frame& request, std::function<int()> run,
                 std::vector<std::size_t> result_bytes) {
    list.push_back({.name = name,
                    .request = request,
                    .is_query = false,
                    .run = [run](values&) { return run(); },
                    .before = {},
                    .decoded = [](const frame&, values held) { return held; },
                    .result_bytes = std::move(result_bytes)});
}

void add_queries(std::vector<command>& list) {
    add_query(
        list, "_rtl_global_status_get", request_of(0x40), 11,
        [](global_status& r) { return _rtl_global_status_get(r); },
        [](global_status& r, auto each) {
            each(r.b3), each(r.b4), each(r.b5_b6), each(r.b7_high), each(r.b7_low), each(r.b8);
            for (auto& flag : r.b9_flags)
                each(flag);
            each(r.b10_high), each(r.b10_low);
        },
        [](const frame& f, const values& held) {
            return values{f[3],      f[4],           (held[2] + word(f, 5)) & 0xFFFF,
                          hi(f[7]),  lo(f[7]),       f[8],
                          f[9] & 1U, f[9] / 2U & 1U, f[9] / 4U & 1U,
                          hi(f[10]), lo(f[10])};
        },
        global_status{});
    add_query(
        list, "_rtl_global_power_status_get", request_of(0x41), 4,
        [](global_power_status& r) { return _rtl_global_power_status_get(r); },
        [](global_power_status& r, auto each) {
            each(r.b2_b3), each(r.power_word), each(r.active_bank), each(r.b7_b8);
        },
        [](const frame& f, const values& held) {
            return values{(held[0] + word(f, 2)) & 0xFFFF, (held[1] + word(f, 4)) & 0xFFFF, f[6],
                          (held[3] + word(f, 7)) & 0xFFFF};
        },
        global_power_status{});
    add_query(
        list, "_rtl_port_status_get", request_of(0x42, {1}), 9,
        [](port_status& r) { return _rtl_port_status_get(1, r); },
        [](port_status& r, auto each) {
            each(r.port), each(r.state), each(r.detail), each(r.detail_low), each(r.detail_high);
            each(r.second_detail), each(r.second_low), each(r.second_high), each(r.port_type);
        },
        [](const frame& f, const values&) {
            const bool fault = f[3] == 4;
            const bool apart = f[7] == 2;
            return values{f[2],
                          f[3],
                          fault ? f[4] : 0xFFU,
                          fault ? 0xFFU : lo(f[4]),
                          fault ? 0xFFU : hi(f[4]),
                          apart ? 0xFFU : f[5],
                          apart ? lo(f[5]) : 0xFFU,
                          apart ? hi(f[5]) : 0xFFU,
                          f[7]};
        },
        port_status{});
    add_query(
        list, "_rtl_port_group_status_get", request_of(0x43, {0}), 17,
        [](port_group_status& r) { return _rtl_port_group_status_get(0, r); },
        [](port_group_status& r, auto each) {
            for (auto& entry : r.r)
                each(entry);
        },
        [](const frame& f, const values&) {
            values r(17);
            r[0] = f[2];
            for (std::size_t k = 0; k < 4; k++) {
                const std::uint8_t odd = f[3 + 2 * k];
                const std::uint8_t even = f[4 + 2 * k];
                r[4 * k + 3] = hi(odd);
                r[4 * k + 1] = lo(odd);
                r[4 * k + 2] = hi(even);
                r[4 * k + 4] = lo(even);
            }
            return r;
        },
        port_group_status{});
    add_query(
        list, "_rtl_port_measurement_get", request_of(0x44, {0}), 5,
        [](port_measurement& r) { return _rtl_port_measurement_get(0, r); },
        [](port_measurement& r, auto each) {
            each(r.port), each(r.voltage), each(r.current), each(r.temperature), each(r.power);
        },
        [](const frame& f, const values&) {
            const double degrees = (static_cast<double>(word(f, 7)) - 120) * -1.25 + 125.0;
            return values{f[2], volts(word(f, 3)), word(f, 5), low_16(degrees * 10.0), word(f, 9)};
        },
        port_measurement{});
    add_query(
        list, "_rtl_port_mib_counter_get", request_of(0x45, {2, 1}), 6,
        [](port_mib_counters& r) { return _rtl_port_mib_counter_get(2, r); },
        [](port_mib_counters& r, auto each) {
            for (auto& byte : r.b2_to_b7)
                each(byte);
        },
        [](const frame& f, const values&) { return values(f.begin() + 2, f.begin() + 8); }, port_mib_counters{});
    add_query(
        list, "_rtl_port_event_status_get", request_of(0x46, {0}), 8,
        [](port_event_status& r) { return _rtl_port_event_status_get(0, r); },
        [](port_event_status& r, auto each) {
            each(r.b2), each(r.b3);
            for (auto& byte : r.b4_to_b9)
                each(byte);
        },
        [](const frame& f, const values&) { return values(f.begin() + 2, f.begin() + 10); }, port_event_status{});
    add_query(
        list, "_rtl_global_reset_reason_get", request_of(0x47, {0}), 15,
        [](reset_reason& r) { return _rtl_global_reset_reason_get(0, r); },
        [](reset_reason& r, auto each) {
            each(r.b2), each(r.b3), each(r.b4);
            for (auto& nibble : r.nibbles)
                each(nibble);
        },
        [](const frame& f, const values&) {
            values r{f[2], f[3], f[4]};
            for (std::size_t at = 5; at <= 10; at++)
                r.insert(r.end(), {reason(hi(f[at])), reason(lo(f[at]))});
            return r;
        },
        reset_reason{});
    add_query(
        list, "_rtl_port_basic_cfg_get", request_of(0x48, {3}), 6,
        [](port_basic_cfg& r) { return _rtl_port_basic_cfg_get(3, r); },
        [](port_basic_cfg& r, auto each) {
            each(r.port), each(r.enable), each(r.b4), each(r.b5), each(r.b7), each(r.b8);
        },
        [](const frame& f, const values&) { return values{f[2], f[3], f[4], f[5], f[7], f[8]}; }, port_basic_cfg{});
    add_query(
        list, "_rtl_port_extended_cfg_get", request_of(0x49, {2}), 8,
        [](port_extended_cfg& r) { return _rtl_port_extended_cfg_get(2, r); },
        [](port_extended_cfg& r, auto each) {
            each(r.b2), each(r.b3), each(r.b4);
            // The limit in steps of its own unit, so that it fits the list.
            auto steps = static_cast<std::uint32_t>(r.power_limit_w / 0.4F + 0.5F);
            each(steps);
            r.power_limit_w = static_cast<float>(steps * 0.4);
            each(r.priority_code), each(r.b7), each(r.pair_a), each(r.pair_b);
        },
        [](const frame& f, const values&) { return values{f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9]}; },
        port_extended_cfg{});
    add_query(
        list, "_rtl_global_parameters_get", request_of(0x4A), 4,
        [](global_parameters& r) { return _rtl_global_parameters_get(r); },
        [](global_parameters& r, auto each) { each(r.lower), each(r.b3), each(r.upper), each(r.b8); },
        [](const frame& f, const values&) {
            return values{low_16((f[2] * 0.06445 + 33.0) * 10.0), f[3], low_16((f[7] * 0.06445 + 57.0) * 10.0), f[8]};
        },
        global_parameters{});
    for (const std::uint8_t bank : {std::uint8_t{0}, std::uint8_t{5}}) {
        add_query(
            list, "_rtl_global_pm_cfg_get bank " + std::to_string(bank), request_of(0x4B, {}, bank), 6,
            [bank](global_pm_cfg& r) { return _rtl_global_pm_cfg_get(bank, r); },
            [](global_pm_cfg& r, auto each) {
                each(r.bank), each(r.method), each(r.bank_power), each(r.b5_b6), each(r.b7_b8), each(r.b9_b10);
            },
            [](const frame& f, const values&) {
                return values{f[1], f[2], word(f, 3), word(f, 5), word(f, 7), word(f, 9)};
            },
            global_pm_cfg{});
    }
    add_query(
        list, "_rtl_global_device_addr_get", request_of(0x4C, {0}), 9,
        [](device_address& r) { return _rtl_global_device_addr_get(0, r); },
        [](device_address& r, auto each) {
            each(r.b2);
            for (auto& byte : r.b3_to_b10)
                each(byte);
        },
        [](const frame& f, const values&) { return values(f.begin() + 2, f.begin() + 11); }, device_address{});
    add_query(
        list, "_rtl_channel_status_get", request_of(0x4E, {1}), 9,
        [](channel_status& r) { return _rtl_channel_status_get(1, r); },
        [](channel_status& r, auto each) {
            each(r.b2), each(r.b6), each(r.b5), each(r.b3), each(r.b4), each(r.b10), each(r.b9), each(r.b7), each(r.b8);
        },
        [](const frame& f, const values&) { return values{f[2], f[6], f[5], f[3], f[4], f[10], f[9], f[7], f[8]}; },
        channel_status{});
    add_query(
        list, "_rtl_port_channel_vol_cur_get", request_of(0x4F, {1}), 5,
        [](channel_vol_cur& r) { return _rtl_port_channel_vol_cur_get(1, r); },
        [](channel_vol_cur& r, auto each) {
            each(r.channel), each(r.voltage1), each(r.raw1), each(r.voltage2), each(r.raw2);
        },
        [](const frame& f, const values&) {
            return values{f[2], volts(word(f, 3)), word(f, 5), volts(word(f, 7)), word(f, 9)};
        },
        channel_vol_cur{});
    add_query(
        list, "_rtl_system_chip_type_info_get", request_of(0x4F, {0}), 12,
        [](chip_type_info& r) { return _rtl_system_chip_type_info_get(0, r); },
        [](chip_type_info& r, auto each) {
            for (auto& nibble : r.nibbles)
                each(nibble);
        },
        [](const frame& f, const values&) {
            values r;
            for (std::size_t at = 2; at <= 7; at++)
                r.insert(r.end(), {hi(f[at]), lo(f[at])});
            return r;
        },
        chip_type_info{});
    add_query(
        list, "_rtl_cfg_ver_get", request_of(0xC0, {}, 4), 5, [](cfg_version& r) { return _rtl_cfg_ver_get(r); },
        [](cfg_version& r, auto each) {
            for (auto& byte : r.b2_to_b6)
                each(byte);
        },
        [](const frame& f, const values&) { return values(f.begin() + 2, f.begin() + 7); }, cfg_version{});
}

void add_settings(std::vector<command>& list) {
    for (const std::uint8_t key :
         {std::uint8_t{0x00}, std::uint8_t{0x02}, std::uint8_t{0x10}, std::uint8_t{0x11}, std::uint8_t{0x16}}) {
        const std::uint8_t value = key == 0x10 ? 2 : 1;
        add_setting(list, "_rtl_global_set key " + std::to_string(key), request_of(key, {value}),
                    [key, value] { return _rtl_global_set(key, value); }, {2});
    }
    add_setting(list, "_rtl_global_power_source_set", request_of(0x04, {3, 0x0B, 0xB8, 0, 0}),
                [] { return _rtl_global_power_source_set(3, 3000, 0); }, {3});
    add_setting(list, "_rtl_port_mapping_enable_set", request_of(0x05, {0, 4}),
                [] { return _rtl_port_mapping_enable_set(0, 4); }, {2, 3});
    add_setting(list, "_rtl_port_pair_mapping_set", request_of(0x06, {2, 1, 0, 4, 5}),
                [] { return _rtl_port_pair_mapping_set(2, 1, 0, 4, 5); }, {3, 4, 5, 6, 10});
    add_setting(list, "_rtl_global_parameters_set", request_of(0x0E, {179, 0xFF, 9}),
                [] { return _rtl_global_parameters_set(446, 576); }, {2});
    struct port_setting {
        std::uint8_t key;
        std::uint8_t value;
    };
    constexpr port_setting port_settings[] = {{0x01, 1}, {0x08, 0}, {0x0F, 2},  {0x0C, 6},
                                              {0x12, 1}, {0x18, 3}, {0x14, 75}, {0x15, 3}};
    for (const auto& [key, value] : port_settings) {
        const four_bytes one_port{2, 0xFF, 0xFF, 0xFF};
        const four_bytes one_value{value, 0xFF, 0xFF, 0xFF};
        add_setting(list, "_rtl_port_set one port, key " + std::to_string(key), request_of(key, {2, value}),
                    [key = key, one_port, one_value] { return _rtl_port_set(key, one_port, one_value); }, {3, 5, 7, 9});
        const four_bytes all_ports_given{0, 1, 2, 3};
        const four_bytes all_values{value, value, value, value};
        add_setting(
            list, "_rtl_port_set all ports, key " + std::to_string(key),
            request_of(key, {0, value, 1, value, 2, value, 3, value}),
            [key = key, all_ports_given, all_values] { return _rtl_port_set(key, all_ports_given, all_values); },
            {3, 5, 7, 9});
    }
    add_setting(list, "_rtl_cfg_info_save", request_of(0xC0, {}, 1), [] { return _rtl_cfg_info_save(); }, {2});
    add_setting(list, "_rtl_cfg_info_clear", request_of(0xC0, {}, 2), [] { return _rtl_cfg_info_clear(); }, {2});
    add_setting(list, "_rtl_cfg_ver_save", request_of(0xC0, {1, 2, 3, 4, 5}, 3),
                [] { return _rtl_cfg_ver_save(1, 2, 3, 4, 5); }, {2});
}

// What the caller hands over comes back as it was, but for an accepted answer.
command transport_by_itself() {
    const frame request = request_of(0x42, {1});
    values before(request.begin(), request.end());
    before[vswitch::checksum_at] = 0;
    return {.name = transport_alone,
            .request = request,
            .is_query = true,
            .run =
                [](values& held) {
                    frame bytes{};
                    for (std::size_t at = 0; at < bytes.size(); at++)
                        bytes[at] = static_cast<std::uint8_t>(held[at]);
                    auto given = std::bit_cast<controller_frame>(bytes);
                    const int status = poe_kernel_drv_send_recv(driver_wait, given);
                    bytes = std::bit_cast<frame>(given);
                    held.assign(bytes.begin(), bytes.end());
                    return status;
                },
            .before = before,
            .decoded = [](const frame& f, const values&) { return values(f.begin(), f.end()); },
            .result_bytes = {}};
}

}  // namespace

const std::vector<command>& commands() {
    static const std::vector<command> list = [] {
        std::vector<command> all;
        add_queries(all);
        add_settings(all);
        all.push_back(transport_by_itself());
        return all;
    }();
    return list;
}

}  // namespace campaign
