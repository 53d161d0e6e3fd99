#include "datagrams/conversation.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace campaign {
namespace {

constexpr std::size_t most_told = 20;
constexpr std::size_t largest_reply = 4096;
constexpr std::uint8_t fence_query = 13;

std::string hexadecimal(std::span<const std::uint8_t> data) {
    std::string text;
    char two[4];
    for (const std::uint8_t byte : data) {
        std::snprintf(two, sizeof two, "%02x ", byte);
        text += two;
    }
    return text;
}

}  // namespace

void tally::fail(const std::string& what) {
    failure_count++;
    if (failures.size() < most_told) failures.push_back(what);
}

void tally::add(const tally& other) {
    sent += other.sent;
    replies += other.replies;
    rejections += other.rejections;
    silences += other.silences;
    failure_count += other.failure_count;
    for (std::size_t i = 0; i < size_errors.size(); i++)
        size_errors[i] += other.size_errors[i];
    for (const std::string& one : other.failures) {
        if (failures.size() < most_told) failures.push_back(one);
    }
}

conversation::conversation(const std::string& daemon_path, const std::string& own_path, std::size_t most_owed)
    : socket_(daemon_path, own_path), most_owed_(most_owed), buffer_(largest_reply) {}

bool conversation::say(std::span<const std::uint8_t> datagram) {
    const expectation expected = expected_of(datagram);
    const bool is_owed = expected.what != outcome::silence;
    while (is_owed && owed_.size() >= most_owed_) {
        if (!take_one()) return false;
    }
    if (!socket_.send(datagram)) {
        tally_.fail("the daemon does not take datagram " + std::to_string(tally_.sent));
        return false;
    }
    if (expected.is_size_error) tally_.size_errors[expected.row->type]++;
    if (is_owed) {
        debt one{.expected = expected, .number = tally_.sent, .length = datagram.size(), .head = {}};
        std::copy_n(datagram.begin(), std::min(datagram.size(), one.head.size()), one.head.begin());
        owed_.push_back(one);
    } else {
        tally_.silences++;
    }
    tally_.sent++;
    return true;
}

bool conversation::settle() {
    if (!say(std::array{fence_query})) return false;
    while (!owed_.empty()) {
        if (!take_one()) return false;
    }
    return true;
}

void conversation::expect_nothing_more() {
    for (long got = 0; (got = socket_.receive_what_is_there(buffer_)) >= 0;) {
        const auto there = std::min(static_cast<std::size_t>(got), buffer_.size());
        tally_.fail("a reply too many: " + hexadecimal(std::span(buffer_).first(std::min<std::size_t>(there, 32))));
    }
}

bool conversation::complain(const std::string& what) {
    tally_.fail(what);
    return false;
}

bool conversation::take_one() {
    const debt owed = owed_.front();
    owed_.pop_front();
    const long got = socket_.receive(buffer_);
    if (got < 0) {
        tally_.fail("no reply to " + text_of(owed));
        return false;
    }
    const auto reply = std::span(buffer_).first(std::min(static_cast<std::size_t>(got), buffer_.size()));
    const std::string wrong = what_is_wrong(owed.expected, reply, memory_);
    if (!wrong.empty()) {
        tally_.fail(wrong + ", for " + text_of(owed) +
                    "; it begins: " + hexadecimal(reply.first(std::min<std::size_t>(reply.size(), 64))));
        // Every later comparison would be wrong as well when the replies are out of step.
        return reply.size() == owed.expected.row->reply;
    }
    const bool is_accepted = owed.expected.what == outcome::reply;
    (is_accepted ? tally_.replies : tally_.rejections)++;
    if (is_accepted && owed.expected.row->is_queued) accepted_changes_++;
    return true;
}

std::string conversation::text_of(const debt& owed) const {
    return "datagram " + std::to_string(owed.number) + " (" + std::to_string(owed.length) +
           " bytes: " + hexadecimal(std::span(owed.head).first(std::min(owed.length, owed.head.size()))) + ")";
}

int report(const tally& all, const std::string& further_json) {
    for (const std::string& failure : all.failures)
        std::fprintf(stderr, "%s\n", failure.c_str());
    std::map<std::string, std::size_t> by_text;
    for (const message_row& row : messages()) {
        if (row.size_error != nullptr) by_text[row.size_error] += all.size_errors[row.type];
    }
    std::string texts;
    for (const auto& [text, count] : by_text)
        texts += (texts.empty() ? "\"" : ", \"") + text + "\": " + std::to_string(count);
    std::printf(
        "{\"sent\": %zu, \"replies\": %zu, \"rejections\": %zu, \"silences\": %zu, \"failures\": %zu, "
        "\"size_errors\": {%s}%s}\n",
        all.sent, all.replies, all.rejections, all.silences, all.failure_count, texts.c_str(), further_json.c_str());
    return all.failure_count == 0 ? 0 : 1;
}

}  // namespace campaign
