// The names that this process has in the file system while it talks to the daemon, and how they go away: with their
// connection, at exit(), and on signals when the program asks for that.
#pragma once

#include "poe_client/api.h"

namespace poe_client {

// Removes every name of this process. Safe in a signal handler. Runs by itself at exit().
POE_CLIENT_API void remove_own_names();

// From now on SIGINT, SIGQUIT, SIGTERM, SIGHUP and SIGPIPE remove every name before they end the process. A signal that
// is ignored, or that the program has a handler of its own for, is left alone: such a handler calls remove_own_names().
// For programs; a library has no business with its caller's signals.
POE_CLIENT_API void remove_own_names_on_signals();

}  // namespace poe_client
