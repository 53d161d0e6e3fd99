#include "scenes.h"

#include <initializer_list>

namespace campaign {

namespace {

using vswitch::powered_device;

void send(vswitch::controller& chip, unsigned key, std::initializer_list<unsigned> data, unsigned selector = 0) {
    vswitch::frame request = vswitch::blank_answer(static_cast<std::uint8_t>(key), static_cast<std::uint8_t>(selector));
    std::size_t at = vswitch::data_at;
    for (const unsigned byte : data)
        request[at++] = static_cast<std::uint8_t>(byte);
    vswitch::seal(request);
    chip.answer(request);
}

powered_device single(unsigned power_class, bool four_pairs, std::uint32_t load_mw) {
    return {.kind = vswitch::device_kind::single_signature,
            .power_class = power_class,
            .four_pairs = four_pairs,
            .load_mw = {load_mw, 0}};
}

constexpr std::uint64_t settled_us = 5000000;

}  // namespace

void set_port(vswitch::controller& chip, unsigned port, unsigned key, unsigned value) {
    send(chip, key, {port, value});
}

void program(vswitch::controller& chip) {
    send(chip, 0xC0, {}, 2);
    send(chip, 0x10, {2});
    send(chip, 0x05, {0, 4});
    for (unsigned port = 0; port < 4; port++)
        send(chip, 0x06, {port, 1, 0, 2 * port, 2 * port + 1});
    send(chip, 0x05, {1, 4});
    send(chip, 0x02, {1});
    for (unsigned bank = 0; bank < 8; bank++)
        send(chip, 0x04, {bank, 3000 / 256, 3000 % 256, 0, 0});
    send(chip, 0x0E, {179, 0xFF, 9});
    for (unsigned port = 0; port < 4; port++) {
        set_port(chip, port, 0x14, 225);
        set_port(chip, port, 0x15, 0);
    }
    send(chip, 0x16, {6});
    send(chip, 0xC0, {}, 1);
}

scene make_scene(unsigned number, std::uint32_t seed) {
    scene made{.chip = vswitch::controller(seed), .link_up = {true, true, true, false}, .enabled{}};
    made.enabled.fill(true);
    vswitch::controller& chip = made.chip;
    program(chip);
    for (unsigned port = 0; port < 4; port++)
        set_port(chip, port, 0x01, 1);
    if (number == 0) {  // power on two, an empty port with a link, a bad device without one
        chip.plug(0, single(4, false, 12500));
        chip.plug(1, {.kind = vswitch::device_kind::dual_signature, .power_class = 3, .load_mw = {9000, 11000}});
        chip.plug(3, {.kind = vswitch::device_kind::legacy, .broken = vswitch::breakage::bad_signature});
    } else if (number == 1) {  // four pairs, a legacy device, a short circuit, an overload
        chip.plug(0, single(8, true, 61000));
        chip.plug(1, {.kind = vswitch::device_kind::legacy, .load_mw = {4000, 0}});
        chip.plug(2, single(3, false, 6000));
        chip.plug(3, single(2, false, 3000));
    } else {  // one port off, one switched off for its link without power, little budget
        made.enabled[2] = false;
        set_port(chip, 2, 0x01, 0);
        chip.plug(0, single(4, false, 25000));
        chip.plug(1, {.kind = vswitch::device_kind::legacy, .broken = vswitch::breakage::bad_signature});
        chip.plug(3, single(4, false, 28000));
        for (unsigned bank = 0; bank < 8; bank++)
            send(chip, 0x04, {bank, 400 / 256, 400 % 256, 0, 0});
    }
    chip.advance(settled_us);
    if (number == 1) {
        vswitch::powered_device broken = chip.port(2).device();
        broken.broken = vswitch::breakage::short_circuit;
        chip.change(2, broken);
        broken = chip.port(3).device();
        broken.broken = vswitch::breakage::overload;
        chip.change(3, broken);
        chip.advance(settled_us / 10);
    }
    return made;
}

}  // namespace campaign
