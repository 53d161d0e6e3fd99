// Lines for people: diagnostics to standard error, port LED changes and the like to standard output. Each line is one
// write, so that lines of two threads never mix and a reader never sees half of one; a line that cannot be written is
// lost, silently. Any thread, no lock.
#pragma once

// The source file that the daemon's diagnostics carry; administrators' log filters know it by this name.
inline constexpr const char* diagnostics_file_name = "poe_drv.c";

// Who says it: part of a message's text.
struct said_by {
    const char* function;
    int line;
};

// Formats one line (with its newline) and writes it to standard error. Longer than `longest_line` bytes, it is cut,
// and ends with a newline all the same.
inline constexpr int longest_line = 512;
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The same to standard output.
void say_out(const char* format, ...) __attribute__((format(printf, 1, 2)));
