// The full-screen view as lines of text: a picture of the switch and a size in, lines out. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "poectl/picture.h"
#include "poectl/verbs/events.h"

namespace poectl {

inline constexpr std::size_t hour_minutes = 60;

// Watts of each minute of the last hour in thousandths, the oldest first; nothing where it is not known.
using hour_of_power = std::array<std::optional<std::int64_t>, hour_minutes>;

// The sum over all ports of the daemon's own record; nothing when it has recorded no minute at all.
std::optional<hour_of_power> recorded_hour(const std::array<poe_client::port_energy, poe_client::port_count>& ports);

// What this process has seen itself: the average of each minute.
class seen_hour {
  public:
    void add(std::int64_t time_s, std::uint32_t consumed_mw);
    hour_of_power minutes() const;

  private:
    struct minute {
        std::int64_t number = -1;  // since 1970
        std::uint64_t sum_mw = 0, count = 0;
    };
    std::array<minute, hour_minutes> ring_{};
    std::int64_t latest_ = -1;
};

enum class led_state : std::uint8_t { dark, lit, blinking };

// As the daemon drives the panel. It tells LEDs to nobody; they follow from the statuses.
led_state led_of(const poe_client::port_status& port);

struct top_picture {
    bool known = false;  // the daemon has answered once; `all` is its latest answer
    whole_reading all{};
    bool controller_answers = true;    // else `all` is what it told last
    std::optional<problem> trouble{};  // why there is no newer one
    std::string time;                  // of the latest answer, or of now when there is none
    hour_of_power hour{};
    bool hour_is_recorded = false;  // by the daemon, not by this process
};

struct top_view {
    std::uint8_t selected = 0;
    bool help = false;
};

struct screen_size {
    std::size_t lines = 0, columns = 0;
};

using screen_line = std::vector<cell>;

// Never more lines than there are, and none longer than a line. What has no room is left out, the plot first.
std::vector<screen_line> top_screen(const top_picture& seen, const top_view& view, screen_size size);

// "[#####....|..]": `value` of `whole`, with a mark where something is reached.
std::string power_bar(std::uint64_t value, std::uint64_t whole, std::size_t width,
                      std::optional<std::uint64_t> mark = {});

}  // namespace poectl
