#include "core/diagnostics.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include <unistd.h>

#include "platform/system.h"

namespace {

void write_line(int descriptor, const char* format, va_list arguments) {
    char line[longest_line];
    const int wanted = std::vsnprintf(line, sizeof line, format, arguments);
    if (wanted < 0) return;
    const std::size_t length = wanted < longest_line ? static_cast<std::size_t>(wanted) : sizeof line - 1;
    system_write(descriptor, line, length);
}

}  // namespace

void say(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(STDERR_FILENO, format, arguments);
    va_end(arguments);
}

void say_out(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(STDOUT_FILENO, format, arguments);
    va_end(arguments);
}
