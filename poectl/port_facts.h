// The system and its ports as facts, the same whichever verb tells them. Pure.
#pragma once

#include <set>
#include <string_view>

#include "poectl/picture.h"
#include "poectl/readings.h"

namespace poectl {

// A number with its name.
facts coded(std::int64_t code, std::string_view name);

facts port_facts(const port_reading& port);
facts system_facts(const system_reading& system);
facts controller_facts(bool answers);

// What begins every item of a list of ports.
facts port_name_facts(std::size_t port);

// What the statuses mean, what usually causes them and what to do, each once, for programs and for people.
void explain(picture& seen, const std::set<std::uint32_t>& statuses);

}  // namespace poectl
