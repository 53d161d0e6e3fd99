// Replies on the control socket that every kind of server gives.
#pragma once

#include <string>

#include "server/control_service.h"
#include "server/device_answers.h"

namespace vswitch {

// A reply whose text is there for both kinds of readers.
control_reply say(control_result result, const std::string& text, bool json);

// The verb "latency".
control_reply change_latency(device_answers& answers, const control_request& request);

}  // namespace vswitch
