// Several clients at once against a running daemon, half of what they send well-formed, half of it anything at all,
// while devices come and go. Started by `run` beside this file.
#include <algorithm>
#include <array>
#include <chrono>
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
constexpr std::size_t datagrams_a_rest = 500;
constexpr std::size_t bank_mark_offset = 10;
constexpr std::chrono::seconds patience{30};
constexpr std::uint8_t set_bank = 142;
constexpr std::uint8_t get_bank = 14;
constexpr std::uint8_t set_one_port = 129;
constexpr std::uint8_t get_one_port = 1;
constexpr std::uint8_t keep = 0xFF;
constexpr std::size_t lowest_limit = 10;  // tenths of a watt
constexpr std::size_t limits = 891;
constexpr std::size_t datagrams_a_round = 10;
constexpr std::size_t most_rounds = 1000;

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
          port_(number),
          marks_(number == 0) {}

    void run(std::size_t datagrams) {
        for (std::size_t i = 0; i < datagrams; i++) {
            if (marks_ && !tend_gate(i)) return;
            if (!conversation_.say(next())) return;
            acknowledge();
            if ((i + 1) % datagrams_a_step == 0) shared_.datagrams.went_on(datagrams_a_step);
        }
        conversation_.settle();
        acknowledge();
    }

    // A port of its own for each client: every change must become visible before the next is sent.
    void change_own_port(std::size_t rounds) {
        for (std::size_t round = 0; round < rounds; round++) {
            const auto limit = static_cast<std::uint32_t>(lowest_limit + (round + random_.below(limits - 1)) % limits);
            if (limit == conversation_.memory().limits.at(port_)) continue;
            if (!change_limit(limit)) return;
        }
        conversation_.settle();
    }

    // First client, when all the others have ended: whatever was acknowledged is applied, the last one too.
    void see_the_last_change_applied() {
        if (is_awaiting_ && !await_mark()) return;
        if (send_mark()) await_mark();
    }

    conversation& talk() { return conversation_; }
    const std::array<std::size_t, 256>& requests() const { return requests_; }

  private:
    bytes next() {
        bytes datagram;
        if (random_.once_in(2)) {
            const auto known = messages();
            // No room for another change just now: something that changes nothing instead.
            do {
                datagram = well_formed(known[random_.below(known.size())], random_);
            } while (is_change(datagram) && !may_change(datagram));
            requests_.at(datagram[0])++;
        } else {
            datagram = anything(random_);
            if (is_change(datagram) && !may_change(datagram)) datagram.push_back(0);
        }
        if (is_change(datagram) && datagram[0] == set_bank) put_mark(datagram, awaited_);
        return datagram;
    }

    // The power bank carries the mark, so only the one who marks may change it.
    bool may_change(const bytes& datagram) { return (marks_ || datagram[0] != set_bank) && shared_.gate.enter(); }

    void acknowledge() {
        const std::size_t accepted = conversation_.accepted_changes();
        shared_.gate.acknowledged.fetch_add(accepted - told_);
        told_ = accepted;
    }

    // A marked request when enough waits to be applied.
    bool send_mark() {
        if (!conversation_.settle()) return false;
        acknowledge();
        shared_.gate.sends_mark();
        awaited_++;
        bytes request(12);
        request[0] = set_bank;
        request[8] = static_cast<std::uint8_t>(random_.within(10, 255));
        put_mark(request, awaited_);
        if (!conversation_.say(request) || !conversation_.settle()) return false;
        told_++;  // not one that the gate counts
        is_awaiting_ = true;
        return true;
    }

    // Asks the same again until the answer shows a change.
    template <typename condition>
    bool ask_until(const bytes& query, condition is_applied) {
        const auto until = std::chrono::steady_clock::now() + patience;
        do {
            if (!conversation_.say(query) || !conversation_.settle()) return false;
            if (std::chrono::steady_clock::now() > until)
                return conversation_.complain("an acknowledged change is not applied");
        } while (!is_applied());
        return true;
    }

    bool await_mark() {
        return ask_until({get_bank}, [&] { return conversation_.memory().bank_mark == awaited_; });
    }

    bool change_limit(std::uint32_t limit) {
        bytes change(20, keep);
        change[0] = set_one_port;
        change[8] = static_cast<std::uint8_t>(port_);
        for (std::size_t i = 0; i < 4; i++)
            change[16 + i] = static_cast<std::uint8_t>(limit >> (8 * i));
        bytes query(20);
        query[0] = get_one_port;
        query[8] = static_cast<std::uint8_t>(port_);
        return conversation_.say(change) &&
               ask_until(query, [&] { return conversation_.memory().limits.at(port_) == limit; });
    }

    // Asks for the mark now and then, among its other requests.
    bool look_for_mark(std::size_t number) {
        if (conversation_.memory().bank_mark == awaited_) {
            is_awaiting_ = false;
            reopens_at_ = number + datagrams_a_rest;
            return true;
        }
        return number % datagrams_a_look != 0 || conversation_.say(std::array{get_bank});
    }

    // Full, the gate stays closed until everything is applied and ports have been polled for a while.
    bool tend_gate(std::size_t number) {
        if (is_awaiting_) return look_for_mark(number);
        if (!shared_.gate.is_full()) return true;
        if (reopens_at_ == 0) return send_mark();
        if (number < reopens_at_) return true;
        reopens_at_ = 0;
        shared_.gate.reopen();
        return true;
    }

    conversation conversation_;
    random_stream random_;
    shared_state& shared_;
    std::size_t port_;
    bool marks_;
    bool is_awaiting_ = false;
    std::uint16_t awaited_ = 0;
    std::size_t reopens_at_ = 0;
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
    const auto all_at_once = [&](auto what_to_do) {
        std::vector<std::thread> threads;
        for (const auto& one : clients)
            threads.emplace_back([&] { what_to_do(*one); });
        for (std::thread& thread : threads)
            thread.join();
    };
    all_at_once([&](client& one) { one.run(what.datagrams / what.clients); });
    all_at_once([&](client& one) { one.change_own_port(std::min(what.datagrams / datagrams_a_round, most_rounds)); });
    shared.datagrams.end();
    surroundings.join();

    clients.front()->see_the_last_change_applied();

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
    if (argc != 7 || std::strtoull(argv[6], nullptr, 10) - 1 >= ports) {
        std::fprintf(stderr, "usage: soak DAEMON-SOCKET FOLDER CONTROL SEED DATAGRAMS CLIENTS(1..4)\n");
        return 2;
    }
    return soak({.daemon = argv[1],
                 .folder = argv[2],
                 .control = argv[3],
                 .seed = std::strtoull(argv[4], nullptr, 10),
                 .datagrams = std::strtoull(argv[5], nullptr, 10),
                 .clients = std::strtoull(argv[6], nullptr, 10)});
}
