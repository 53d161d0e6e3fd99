// The check that lets a client's port parameter block into the set queue. Pure but for the line
// that a refusal writes to standard error. Main thread; looks at its argument only, takes no lock.
#pragma once

#include "core/port_parameter_block.h"

// 0 when the block may be queued, -1 (and one line to standard error) at the first thing wrong with it.
int check_one_port_pmt_value(const port_parameter_block* block);
