#include "core/status_file.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "platform/system.h"

const char* g_say_bye_bye_file_path;

namespace {

// With its zero: the kernel takes no longer argument, so no shell could be given a longer command.
constexpr int longest_shell_command = 32 * 4096;

}  // namespace

void say_message_to_file(const char* message) {
    if (g_say_bye_bye_file_path == nullptr) return;
    static char command[longest_shell_command];
    const int length = std::snprintf(command, sizeof command, "echo \"%s\" > %s", message, g_say_bye_bye_file_path);
    if (static_cast<std::size_t>(length) >= sizeof command) return;  // or, as a number below 0, not composed
    system_shell(command);
}

void say_bye_bye_and_exit(int status, const char* message) {
    say_message_to_file(message);
    std::exit(status);
}
