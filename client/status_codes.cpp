#include "poe_client/status_codes.h"

namespace poe_client {

// clang-format off
constexpr std::array<status_code, 16> status_codes{{
    { 0, "disabled",
      "The controller has the port switched off: it, its schedule or the whole system is disabled. "
      "Enable it if it should deliver power."},
    { 1, "delivering",
      "A powered device is connected and gets its power."},
    { 2, "searching",
      "The port is on and no device draws power from it: nothing is plugged in, or a device has just left. "
      "Plug in a powered device; if one is there, check the cable."},
    { 3, "overload",
      "The controller cut the power: the device drew more than it may. "
      "Compare the device's need with the port's power limit."},
    { 4, "power-denied",
      "The controller found a device and did not power it, as a rule because the budget has no room for it. "
      "Raise the port's priority or free some power."},
    { 5, "short-circuit",
      "The controller cut the power: the current was far too high, as a rule because of a short in the cable or in the "
      "device. Try another cable, then another device."},
    { 6, "fault-6",
      "The controller reports a fault of its own (error 0); its handbook says which. Power-cycle the port."},
    { 7, "fault-7",
      "The controller reports a fault of its own (error 7, or a state that the daemon passes on as it is); its handbook "
      "says which. Power-cycle the port."},
    { 8, "fault-8",
      "The controller reports a fault of its own (error 5 or 14, or a state that the daemon passes on as it is); its "
      "handbook says which. Power-cycle the port."},
    { 9, "requesting",
      "The controller reports a device that is not powered yet (its state 6). "
      "This passes by itself; if it stays, look at the budget."},
    {10, "fault-10",
      "The controller reports a fault of its own (error 6, or a state that the daemon passes on as it is); its handbook "
      "says which. Power-cycle the port."},
    {11, "not-read-yet",
      "The daemon has not read the port since it started. This passes within a second; if it stays, the port is off or "
      "the controller does not answer."},
    {12, "on-hold",
      "The port sees no device that it may power; while the link is up the daemon switches it off and looks "
      "again later. As a rule a device without need of power is plugged in."},
    {13, "auto-off",
      "The daemon has switched the port off by itself, because the link is up and the device there takes no power. "
      "It is tried again by itself when the link goes down."},
    {14, "searching-again",
      "Only in traps: the port was switched off automatically and is on again."},
    {15, "switched-on",
      "Only in traps: the port was off and is on now."},
}};
// clang-format on

std::string_view status_name(std::uint32_t number) {
    return number < status_codes.size() ? status_codes[number].name : "unknown";
}

std::string_view status_meaning(std::uint32_t number) {
    return number < status_codes.size() ? status_codes[number].meaning
                                        : "The daemon passes on a state of the controller that it has no name for.";
}

}  // namespace poe_client
