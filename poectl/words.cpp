#include "poectl/words.h"

namespace poectl {

namespace {

constexpr std::size_t interface_count = poe_client::port_count;

consteval std::array<std::string_view, interface_count> split_names(std::string_view list) {
    std::array<std::string_view, interface_count> names;
    for (auto& name : names) {
        const std::size_t comma = list.find(',');
        name = list.substr(0, comma);
        list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
    }
    return names;
}

constexpr auto interface_names = split_names(POE_LINK_INTERFACES);

}  // namespace

std::string_view interface_name(std::size_t port) {
    return interface_names[port < interface_count ? port : 0];
}

namespace {

std::string number_and_interface(std::size_t port) {
    return std::to_string(panel_number(port)) + " (" + std::string(interface_name(port)) + ")";
}

}  // namespace

std::string mode_words(std::int8_t mode) {
    const auto* known = power_mode_of(mode);
    const std::string number = std::to_string(mode);
    return known == nullptr ? number : std::string(known->name) + " (" + number + ")";
}

std::string port_words(std::size_t port) {
    return "port " + number_and_interface(port);
}

std::string ports_words(poe_client::port_bitmap ports) {
    std::string list;
    int count = 0;
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & poe_client::bit_of_port(port)) == 0) continue;
        count++;
        list += (list.empty() ? "" : ", ") + number_and_interface(port);
    }
    return (count == 1 ? "port " : "ports ") + list;
}

}  // namespace poectl
