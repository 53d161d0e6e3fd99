#include "core/diagnostics.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include <unistd.h>

#include "platform/system.h"

namespace {

void write_line(int descriptor, const char* format, va_list arguments) {
    char line[longest_line + 1];
    int length = std::vsnprintf(line, sizeof line, format, arguments);
    if (length < 0) return;
    if (length > longest_line) {
        length = longest_line;
        line[longest_line - 1] = '\n';
    }
    system_write(descriptor, line, static_cast<std::size_t>(length));
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
