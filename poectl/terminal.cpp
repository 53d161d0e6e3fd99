#include "poectl/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace poectl {

namespace {

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool colour_on(bool terminal) {
    const std::string_view kind = environment("TERM");
    return terminal && environment("NO_COLOR").empty() && !kind.empty() && kind != "dumb";
}

std::size_t width_of_terminal() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace

look look_of_standard_output(const command& asked) {
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    look how{.format = asked.format, .terminal = terminal, .colour = colour_on(terminal)};
    if (asked.colour != colour_choice::automatic) how.colour = asked.colour == colour_choice::always;
    if (terminal) how.width = width_of_terminal();
    return how;
}

}  // namespace poectl
