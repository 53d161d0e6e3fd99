// The picture as JSON for programs: the same keys in the same order whatever the values, arrays always arrays, unknown
// as null, units in the names. Pure.
#pragma once

#include <string>

#include "poectl/command.h"
#include "poectl/picture.h"

namespace poectl {

// Goes up when a key changes its meaning or goes away.
inline constexpr int schema_version = 1;

std::string as_json(const command& asked, const picture& seen);

}  // namespace poectl
