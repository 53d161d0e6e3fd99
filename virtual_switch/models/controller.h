// The PoE controller: one running and one stored configuration, four ports, and an answer to every command.
// It keeps its own time, which only advance() moves.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "models/configuration.h"
#include "models/frame_layout.h"
#include "models/power_port.h"

namespace vswitch {

enum class reset_cause : std::uint8_t { power_up = 0, commanded = 1 };

class controller {
  public:
    // The seed gives each port its own small offset of voltage and temperature.
    explicit controller(std::uint32_t seed);

    // What a request is answered with. Takes no time of its own.
    frame answer(const frame& request);

    void advance(std::uint64_t microseconds);
    std::uint64_t now_us() const { return now_us_; }

    void plug(std::size_t port, const powered_device& device);
    void unplug(std::size_t port);
    void change(std::size_t port, const powered_device& device);
    void count_event(std::size_t port, std::size_t counter, unsigned times);

    void power_cycle();  // starts again from the stored configuration
    void make_factory_fresh();

    const power_port& port(std::size_t port) const { return ports_.at(port); }
    const configuration& running() const { return running_; }
    const std::optional<configuration>& stored() const { return stored_; }
    std::uint32_t delivered_mw() const;
    std::uint32_t budget_mw() const;
    unsigned voltage_counts(std::size_t port) const;  // of the supply at that port, powered or not
    unsigned temperature_counts(std::size_t port) const;

  private:
    // controller_queries.cpp
    bool answer_query(const frame& request, frame& reply);
    void put_port_status(std::size_t port, frame& reply) const;
    void put_group_status(std::uint8_t group, frame& reply) const;
    void put_measurement(std::size_t port, frame& reply) const;
    void put_basic(std::size_t port, frame& reply) const;
    void put_extended(std::size_t port, frame& reply) const;
    void put_channel_status(std::size_t port, frame& reply) const;
    void put_channel_measurement(std::size_t port, frame& reply) const;
    void put_power_status(frame& reply) const;

    // controller_settings.cpp
    bool answer_setting(const frame& request, frame& reply);
    bool set_global(std::uint8_t key, std::uint8_t value);
    bool set_port(std::uint8_t key, std::uint8_t port, std::uint8_t value);
    void set_port_pairs(const frame& request, frame& reply);
    void set_power_bank(const frame& request, frame& reply);
    void enable_mapping(const frame& request, frame& reply);
    void set_pair_mapping(const frame& request, frame& reply);
    bool use_store(const frame& request, frame& reply);

    void apply_running();
    void restart_ports();
    void settle();  // gives and takes power until the budget is kept

    configuration running_{};
    std::optional<configuration> stored_{};
    std::array<std::uint8_t, version_size> version_{};  // stored at once
    port_matrix temporary_matrix_{};
    std::array<power_port, port_count> ports_{};
    reset_cause last_reset_ = reset_cause::power_up;
    std::uint64_t now_us_ = 0;
    std::array<unsigned, port_count> voltage_offset_{};
    std::array<unsigned, port_count> temperature_offset_{};
};

}  // namespace vswitch
