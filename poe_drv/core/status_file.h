// The one-line status file that the process supervisor named on the command line, and the fatal exit that writes it.
// Main thread, start-up only.
#pragma once

// The command line's own string (not a copy), or null when there is to be no status file.
extern const char* g_say_bye_bye_file_path;

// Replaces the status file's contents with `message`, through the shell and as it stands: neither the message nor the
// path is quoted or escaped. Does nothing without a status file.
void say_message_to_file(const char* message);

// Writes `message` to the status file and ends the process with `status`. Safe beside a running thread.
[[noreturn]] void say_bye_bye_and_exit(int status, const char* message);
