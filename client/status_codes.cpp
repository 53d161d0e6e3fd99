#include "poe_client/status_codes.h"

namespace poe_client {

// clang-format off
constexpr std::array<status_code, 16> status_codes{{
    { 0, "disabled",
      "The port is switched off and powers nothing.",
      "The port, its schedule's period or PoE as a whole is disabled, or a power-cycle is under way.",
      "Enable the port if it should deliver; then look at its schedule and at the system's setting."},
    { 1, "delivering",
      "A powered device is connected and gets its power.",
      "This is how it should be.",
      "Nothing."},
    { 2, "searching",
      "The port is on and no device draws power from it.",
      "Nothing is plugged in, a device has just left, or the device there takes no power.",
      "Plug in a powered device; if one is there, try another cable."},
    { 3, "overload",
      "The controller cut the power because the device drew more than it may.",
      "The device needs more than the port's power limit or its class allows, or it is faulty.",
      "Compare the device's need with the port's power limit, raise the limit, or try another device."},
    { 4, "power-denied",
      "The controller found a device and did not power it.",
      "The budget has no room for it: ports of higher priority take the power.",
      "Free some power, lower the limits of other ports, or raise this port's priority."},
    { 5, "short-circuit",
      "The controller cut the power because the current was far too high.",
      "A short in the cable, in a connector or in the device.",
      "Try another cable, then another device; look for water and bent pins."},
    { 6, "fault-6",
      "The controller reports a fault of its own: error 0.",
      "The controller's handbook says what the error stands for.",
      "Power-cycle the port; if it comes back, try another device, then another port."},
    { 7, "fault-7",
      "The controller reports a fault of its own: error 7, or a state that is passed on as it is.",
      "The controller's handbook says what the error stands for.",
      "Power-cycle the port; if it comes back, try another device, then another port."},
    { 8, "fault-8",
      "The controller reports a fault of its own: error 5 or 14, or a state that is passed on as it is.",
      "The controller's handbook says what the error stands for.",
      "Power-cycle the port; if it comes back, try another device, then another port."},
    { 9, "requesting",
      "A device was found and is not powered yet.",
      "The controller is about to power it; when it lasts, the budget is short.",
      "Wait a second; if it stays, compare the budget with what the ports draw."},
    {10, "fault-10",
      "The controller reports a fault of its own: error 6, or a state that is passed on as it is.",
      "The controller's handbook says what the error stands for.",
      "Power-cycle the port; if it comes back, try another device, then another port."},
    {11, "not-read-yet",
      "The daemon has not read the port since it started.",
      "The daemon started within the last second, the port is switched off, or the controller does not answer.",
      "Wait a second; if it stays on an enabled port, look at the counters of the talk with the controller."},
    {12, "on-hold",
      "The port sees no device that it may power.",
      "A device without need of power is plugged in; while its link is up the daemon switches the port off.",
      "Nothing, if the device has a supply of its own; otherwise try another cable."},
    {13, "auto-off",
      "The daemon has switched the port off by itself.",
      "The link is up and the device there takes no power: it has a supply of its own.",
      "Nothing: the port is tried again when the link goes down. Unplug the device to try now."},
    {14, "searching-again",
      "The port was switched off by the daemon and searches again. Only traps say this.",
      "The link of a device that took no power went down.",
      "Nothing."},
    {15, "switched-on",
      "The port was off and searches now. Only traps say this.",
      "Somebody enabled the port, its schedule's on period began, or a power-cycle ended.",
      "Nothing."},
}};
// clang-format on

namespace {

constexpr status_code unknown_code{
    .number = 0xFFFFFFFF,
    .name = "unknown",
    .meaning = "The daemon passes on a state of the controller that it has no name for.",
    .cause = "The controller's software is newer than the daemon, or the controller is faulty.",
    .remedy = "Power-cycle the port; if it stays, note the number and look into the controller's handbook."};

}  // namespace

const status_code& status_code_of(std::uint32_t number) {
    return number < status_codes.size() ? status_codes[number] : unknown_code;
}

std::string_view status_name(std::uint32_t number) {
    return status_code_of(number).name;
}

std::string_view status_meaning(std::uint32_t number) {
    return status_code_of(number).meaning;
}

}  // namespace poe_client
