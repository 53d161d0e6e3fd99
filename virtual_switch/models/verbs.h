// The operator's verbs: one table of words, usage and what they do to the models.
#pragma once

#include <string>
#include <vector>

#include "models/switch_model.h"
#include "models/switch_state.h"

namespace vswitch {

verb_result run_verb(switch_state& state, const std::vector<std::string>& words, bool json);

}  // namespace vswitch
