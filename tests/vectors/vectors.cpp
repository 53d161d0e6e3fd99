#include "vectors/vectors.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

[[noreturn]] void give_up(int line, const std::string& why) {
    std::cerr << POE_MESSAGE_VECTORS << ":" << line << ": " << why << "\n";
    std::exit(EXIT_FAILURE);
}

void add_bytes(const std::string& word, std::vector<std::uint8_t>& bytes, int line) {
    const auto star = word.find('*');
    const std::string digits = word.substr(0, star);
    if (digits.empty() || digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdef") != std::string::npos) {
        give_up(line, "no bytes: " + word);
    }
    if (star != std::string::npos && digits.size() != 2) give_up(line, "only one byte can be repeated: " + word);
    const unsigned long count = star == std::string::npos ? 1 : std::stoul(word.substr(star + 1));
    for (unsigned long i = 0; i < count; i++) {
        for (std::size_t at = 0; at < digits.size(); at += 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
        }
    }
}

message_vector headed(const std::string& text, int line) {
    message_vector message{};
    std::string direction;
    int type = -1;
    std::istringstream words(text);
    words >> message.name >> direction >> type;
    const bool known = direction == "request" || direction == "reply";
    if (!known || type < 0 || type > 255) give_up(line, "not NAME request|reply TYPE");
    message.direction = direction == "request" ? message_direction::request : message_direction::reply;
    message.type = static_cast<std::uint8_t>(type);
    return message;
}

std::vector<message_vector> read_all() {
    std::ifstream file(POE_MESSAGE_VECTORS);
    if (!file) give_up(0, "cannot be read");
    std::vector<message_vector> messages;
    std::string text;
    for (int line = 1; std::getline(file, text); line++) {
        text = text.substr(0, text.find('#'));
        if (text.find_first_not_of(' ') == std::string::npos) continue;
        if (text[0] != ' ') {
            messages.push_back(headed(text, line));
            continue;
        }
        if (messages.empty()) give_up(line, "bytes before the first message");
        std::istringstream words(text);
        for (std::string word; words >> word;)
            add_bytes(word, messages.back().bytes, line);
    }
    return messages;
}

}  // namespace

const std::vector<message_vector>& message_vectors() {
    static const std::vector<message_vector> messages = read_all();
    return messages;
}

const std::vector<std::uint8_t>& message_bytes(const std::string& name) {
    for (const auto& message : message_vectors()) {
        if (message.name == name) return message.bytes;
    }
    give_up(0, "no message " + name);
}
