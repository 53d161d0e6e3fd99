// doctor: what is wrong with this machine, and how to mend it. Pure.
#pragma once

#include <vector>

#include "poectl/picture.h"
#include "poectl/verbs/machine.h"

namespace poectl {

void depict_findings(const std::vector<finding>& findings, picture& into);

}  // namespace poectl
