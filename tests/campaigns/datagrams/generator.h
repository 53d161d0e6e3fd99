// Seeded datagrams: well-formed requests of every type, and anything at all.
#pragma once

#include <cstdint>

#include "datagrams/expectation.h"
#include "datagrams/random.h"

namespace campaign {

// A request of this type as a client would send it: mostly with values that are accepted, now and then with one that is
// not. Bytes that are ignored hold anything.
bytes well_formed(const message_row& row, random_stream& random);

// Any type, any length, any content; often close to something known.
bytes anything(random_stream& random);

}  // namespace campaign
