// The daemon, just started, on a switch of the campaign's: its supervision runs pass by pass, its clients ask in
// between and in the pauses, and the oracles look at everything.
#pragma once

#include <array>
#include <cstdint>

#include "door.h"
#include "line_judge.h"
#include "reference.h"
#include "supervision/cycle.h"

namespace campaign {

// Sets every shared record, counter and mark of the daemon to what it is at the start. `seed` is the controller's.
void start_the_daemon(std::uint32_t seed);

// One request of a client, served at once; the reply.
const bytes& ask_as_client(const bytes& request);
bytes client_request(std::uint8_t type, std::size_t length = 8);

// Asks for the counters and compares; `when` is part of the complaint.
void compare_counters(const line_judge& judge, const char* when);

class switch_under_test {
  public:
    // A fresh daemon and a fresh controller.
    explicit switch_under_test(std::uint32_t seed);
    switch_under_test(const switch_under_test&) = delete;
    switch_under_test& operator=(const switch_under_test&) = delete;

    // Walks the bring-up.
    void bring_up();
    // As if a client had enabled the port long ago.
    void adopt_enabled(std::size_t port);
    void begin();

    // One pass of the supervision; true at the end of a sweep.
    bool pass();
    // Passes until a sweep ends.
    void sweep();

    // Through the client's door; an acknowledged one is expected to be applied.
    void request(const bytes& message);

    // Every answer that a client may ask for.
    void compare_all_replies();

    line_judge judge;
    reference expected;
    std::uint64_t pauses_with_clients_waiting = 0;
    std::uint64_t transactions = 0;
    std::uint64_t damaged_accepted = 0;       // damaged answers that the checksum lets pass
    std::uint64_t switched_off_by_a_run = 0;  // delivering ports, by several bad transfers one after the other
    bool last_sweep_was_whole = false;        // every transaction of the last whole sweep was right at once

  private:
    void in_a_pause();
    void look_for_harm(const std::vector<heard>& door, bool switched_off_for_a_link);

    supervision_state state_{};
    std::optional<reference> fresh_;  // knows nothing but the present sweep
    bool sweep_is_right_ = true;
    std::array<bool, 4> was_forged_{};    // the status that the port was last read with
    std::array<bool, 4> forged_alone_{};  // after a transfer that was right
    bool last_was_right_ = true;
    std::array<frame, 4> forged_{};
    std::array<bool, 4> delivered_then_{};
};

}  // namespace campaign
