// Several clients at once against a running daemon, half of what they send well-formed, half of it anything at all,
// while devices come and go. Started by `run` beside this file.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "datagrams/conversation.h"
#include "datagrams/generator.h"
#include "soak/change_gate.h"
#include "soak/surroundings.h"

namespace {

using namespace campaign;

constexpr std::size_t datagrams_a_change = 500;
constexpr std::size_t datagrams_a_step = 100;
constexpr std::size_t datagrams_a_look = 10;
constexpr std::size_t bank_mark_offset = 10;
constexpr std::uint8_t set_bank = 142;
constexpr std::uint8_t get_bank = 14;

struct plan {
    std::string daemon;
    std::string folder;
    std::string control;
    std::uint64_t seed;
    std::size_t datagrams;
    std::size_t clients;
};

struct shared_state {
    change_gate gate;
    pace datagrams;
};

void put_mark(bytes& request, std::uint16_t mark) {
    request[bank_mark_offset] = static_cast<std::uint8_t>(mark);
    request[bank_mark_offset + 1] = static_cast<std::uint8_t>(mark >> 8U);
}

bool is_change(const bytes& datagram) {
    const expectation expected = expected_of(datagram);
    return expected.what == outcome::reply && expected.row->is_queued;
}

class client {
  public:
    client(const plan& what, std::size_t number, shared_state& shared)
        : conversation_(what.daemon, what.folder + "/c" + std::to_string(number), replies_that_fit()),
          random_(stream_of(what.seed, number + 1)),
          shared_(shared),
          marks_(number == 0) {}

    void run(std::size_t datagrams) {
        for (std::size_t i = 0; i < datagrams; i++) {
            if (marks_ && !keep_gate_open(i)) return;
            if (!conversation_.say(next())) return;
            acknowledge();
            if ((i + 1) % datagrams_a_step == 0) shared_.datagrams.went_on(datagrams_a_step);
        }
        conversation_.settle();
        acknowledge();
    }

    conversation& talk() { return conversation_; }
    const std::array<std::size_t, 256>& requests() const { return requests_; }

  private:
    bytes next() {
        bytes datagram;
        if (random_.once_in(2)) {
            const auto known = messages();
            datagram = well_formed(known[random_.below(known.size())], random_);
            // No room for another change just now: something that changes nothing instead.
            while (is_change(datagram) && !shared_.gate.enter())
                datagram = well_formed(known[random_.below(known.size())], random_);
            requests_.at(datagram[0])++;
        } else {
            datagram = anything(random_);
            if (is_change(datagram) && !shared_.gate.enter()) datagram.push_back(0);
        }
        if (is_change(datagram) && datagram[0] == set_bank) put_mark(datagram, shared_.gate.mark());
        return datagram;
    }

    void acknowledge() {
        const std::size_t accepted = conversation_.accepted_changes();
        shared_.gate.acknowledged.fetch_add(accepted - told_);
        told_ = accepted;
    }

    // A marked request when enough waits to be applied.
    bool send_mark() {
        if (!conversation_.settle()) return false;
        acknowledge();
        const std::uint16_t mark = shared_.gate.next_mark(shared_.gate.acknowledged.load());
        bytes request(12);
        request[0] = set_bank;
        request[8] = static_cast<std::uint8_t>(random_.within(10, 255));
        put_mark(request, mark);
        if (!conversation_.say(request) || !conversation_.settle()) return false;
        told_++;  // not one that the gate counts
        shared_.gate.acknowledged_mark(mark);
        awaited_ = mark;
        is_awaiting_ = true;
        return true;
    }

    // Asks for the mark now and then, among its other requests.
    bool look_for_mark(std::size_t number) {
        if (conversation_.memory().bank_mark == awaited_) {
            shared_.gate.saw_mark();
            is_awaiting_ = false;
            return true;
        }
        return number % datagrams_a_look != 0 || conversation_.say(std::array{get_bank});
    }

    bool keep_gate_open(std::size_t number) {
        if (is_awaiting_) return look_for_mark(number);
        return !shared_.gate.is_crowded() || send_mark();
    }

    conversation conversation_;
    random_stream random_;
    shared_state& shared_;
    bool marks_;
    bool is_awaiting_ = false;
    std::uint16_t awaited_ = 0;
    std::size_t told_ = 0;
    std::array<std::size_t, 256> requests_{};
};

int soak(const plan& what) {
    shared_state shared;
    std::vector<std::unique_ptr<client>> clients;
    for (std::size_t i = 0; i < what.clients; i++)
        clients.push_back(std::make_unique<client>(what, i, shared));
    surroundings_result around;
    std::thread surroundings(
        [&] { around = change_surroundings(what.control, what.seed, shared.datagrams, datagrams_a_change); });
    std::vector<std::thread> threads;
    for (const auto& one : clients)
        threads.emplace_back([&] { one->run(what.datagrams / what.clients); });
    for (std::thread& thread : threads)
        thread.join();
    shared.datagrams.end();
    surroundings.join();

    tally all;
    std::array<std::size_t, 256> requests{};
    for (const auto& one : clients) {
        one->talk().expect_nothing_more();
        all.add(one->talk().counts());
        for (std::size_t i = 0; i < requests.size(); i++)
            requests.at(i) += one->requests().at(i);
    }
    if (!around.failure.empty()) all.fail(around.failure);
    std::string by_type;
    for (const message_row& row : messages())
        by_type += (by_type.empty() ? "\"" : ", \"") + std::to_string(row.type) +
                   "\": " + std::to_string(requests.at(row.type));
    return report(all, ", \"changes\": " + std::to_string(around.changes) + ", \"well_formed\": {" + by_type + "}");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fprintf(stderr, "usage: soak DAEMON-SOCKET FOLDER CONTROL SEED DATAGRAMS CLIENTS\n");
        return 2;
    }
    return soak({.daemon = argv[1],
                 .folder = argv[2],
                 .control = argv[3],
                 .seed = std::strtoull(argv[4], nullptr, 10),
                 .datagrams = std::strtoull(argv[5], nullptr, 10),
                 .clients = std::strtoull(argv[6], nullptr, 10)});
}
