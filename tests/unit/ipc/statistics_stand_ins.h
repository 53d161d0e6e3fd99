// Stand-ins for the six statistics handlers, which live in a room above: they remember how they were called.
#pragma once

#include <map>

struct stand_in_call {
    int socket;
    const void* peer;
    const unsigned char* message;
    int length;
};

// By message type; cleared by the test.
extern std::map<int, stand_in_call> statistics_calls;
