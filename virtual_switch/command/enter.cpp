#include "command/enter.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <unistd.h>

#include "command/client.h"
#include "command/exit_status.h"
#include "control.h"
#include "world/emulator.h"
#include "world/namespaces.h"
#include "world/programs.h"

namespace vswitch {
namespace {

std::string value_of(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + '=')) return line.substr(name.size() + 1);
    }
    return {};
}

}  // namespace

int enter_and_run(const std::filesystem::path& control, std::vector<std::string> command, bool attached) {
    const verb_reply reply = ask(control, {enter_verb}, false);
    if (reply.exit_status != exit_done) {
        std::fprintf(stderr, "vswitch: %s\n", reply.text.c_str());
        return reply.exit_status;
    }
    std::error_code ignored;
    const std::filesystem::path folder = std::filesystem::current_path(ignored);
    const std::filesystem::path own = own_folder();
    const int mount_namespace = !reply.descriptors.empty() ? reply.descriptors[0].get() : -1;
    const int user_namespace = reply.descriptors.size() > 1 ? reply.descriptors[1].get() : -1;
    if (!join(user_namespace, mount_namespace)) {
        std::fprintf(stderr, "vswitch: cannot enter the world: %s\n", std::strerror(errno));
        return exit_refused;
    }
    if (chdir(folder.c_str()) != 0 && chdir("/") != 0) return exit_refused;
    setenv("VSWITCH_CONTROL", std::filesystem::absolute(control, ignored).c_str(), 1);
    const std::string emulator = named_emulator();
    std::vector<std::string> environment;
    if (attached) {
        const auto speed = static_cast<unsigned>(std::strtoul(value_of(reply.text, enter_speed).c_str(), nullptr, 10));
        environment = attached_environment(environ, value_of(reply.text, enter_preload),
                                           value_of(reply.text, enter_devices), speed, !emulator.empty());
    } else {
        for (char** entry = environ; *entry != nullptr; entry++)
            environment.emplace_back(*entry);
    }
    const char* const own_search_path = std::getenv("PATH");
    const std::string search_path = own_search_path != nullptr ? own_search_path : "/usr/sbin:/usr/bin:/sbin:/bin";
    const std::filesystem::path program = find_program(command.front(), own, search_path);
    if (program.empty()) {
        std::fprintf(stderr, "vswitch: there is no program %s\n", command.front().c_str());
        return exit_no_program;
    }
    program_start start = start_of(program, std::move(command), emulator, search_path);
    if (start.program.empty()) {
        std::fprintf(stderr, "vswitch: there is no emulator %s\n", emulator.c_str());
        return exit_no_program;
    }
    std::vector<char*> arguments;
    for (std::string& word : start.arguments)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::vector<char*> entries;
    for (std::string& entry : environment)
        entries.push_back(entry.data());
    entries.push_back(nullptr);
    execve(start.program.c_str(), arguments.data(), entries.data());
    std::fprintf(stderr, "vswitch: cannot run %s: %s\n", start.program.c_str(), std::strerror(errno));
    return exit_no_program;
}

}  // namespace vswitch
