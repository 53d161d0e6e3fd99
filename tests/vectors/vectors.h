// Reads tests/vectors/messages.txt for whoever tests one of the two ends of the wire.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class message_direction { request, reply };

struct message_vector {
    std::string name;
    message_direction direction;
    std::uint8_t type;  // of the request, for its reply too
    std::vector<std::uint8_t> bytes;
};

// Every message of the file, in its order. Ends the process with a message when the file is missing or wrong.
const std::vector<message_vector>& message_vectors();

const std::vector<std::uint8_t>& message_bytes(const std::string& name);
