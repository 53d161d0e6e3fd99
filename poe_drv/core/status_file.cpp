#include "core/status_file.h"

#include <cstdio>
#include <cstdlib>

#include "platform/system.h"

const char* g_say_bye_bye_file_path;

void say_message_to_file(const char* message) {
    if (g_say_bye_bye_file_path == nullptr) return;
    char* command = nullptr;  // as long as the path makes it
    if (asprintf(&command, "echo \"%s\" > %s", message, g_say_bye_bye_file_path) < 0) return;
    system_shell(command);
    std::free(command);
}

void say_bye_bye_and_exit(int status, const char* message) {
    say_message_to_file(message);
    std::exit(status);
}
