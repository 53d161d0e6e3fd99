// The vswitch command: `run` is the virtual switch itself, `serve` its two device files alone, `exec` enters its world,
// every other word is a verb for a running one.
#include <algorithm>
#include <cstdio>

#include <CLI/CLI.hpp>

#include "command/client.h"
#include "command/enter.h"
#include "command/exit_status.h"
#include "command/run.h"
#include "command/serve.h"

namespace {

using namespace vswitch;

constexpr const char* verbs_help = R"(Any other word is a verb for the running switch:
  start, stop, restart    the daemon
  wait                    until the daemon answers
  daemon, world           how it is, where it is
  latency US              the controller's time to answer
  quit                    end daemon and switch
  plug, unplug, load, link, fault, show, frames, traps, help
                          the switch's own; "vswitch help" tells them all

VSWITCH_EMULATOR in the environment runs programs that are built for another machine,
such as "qemu-mipsel -L /usr/mipsel-linux-gnu".

Exit status: 0 done, 1 refused, 2 usage, 3 no virtual switch,
4 a kernel without CUSE (serve); run: the daemon's own; exec: the command's own.)";

void declare_run(CLI::App& run, run_options& options) {
    run.add_option("--world", options.world,
                   "Folder of the world: tmp, flash, dev (default: a fresh one, removed at the end)");
    run.add_option("--speed", options.speed, "Divide the daemon's sleeps by this")->check(CLI::Range(1U, 100000U));
    run.add_option("--latency", options.latency_us, "Microseconds that the controller takes to answer (default 2400)");
    run.add_option("--seed", options.seed, "Seed of the models");
    run.add_flag("--stopped", options.stopped, "Do not start the daemon until told to");
    run.add_flag("--stay", options.stays, "Go on when the daemon has ended by itself");
    run.add_option_function<std::string>(
           "--ready", [&](const std::string& when) { options.ready_when_started = when == "started"; },
           "Ready when the daemon answers (the default) or when it has started")
        ->check(CLI::IsMember({"answers", "started"}));
    run.add_option("--ready-fd", options.ready_descriptor,
                   "Descriptor for the line that says so (default: standard output)");
    run.add_option("--daemon-log", options.daemon_log, "File to append the daemon's output to");
    run.add_option("--keep", options.kept, "Folder that must be reachable inside under its own path (may be repeated)")
        ->take_all();
    run.add_flag("--plain-files", options.plain_files, "No world of its own: this machine's /tmp and /flash");
}

void declare_serve(CLI::App& serve, serve_options& options) {
    serve.add_option("--traps", options.trap_pipe, "Named pipe to make and to read traps from");
    serve.add_option("--latency", options.latency_us,
                     "Microseconds that the controller takes to answer (default 2400)");
    serve.add_option("--seed", options.seed, "Seed of the models");
    serve.add_option("--ready-fd", options.ready_descriptor,
                     "Descriptor for the line that says so (default: standard output)");
}

// An answer goes to standard output, a refusal in JSON too; what people need to know to standard error.
int print(const verb_reply& reply, bool json) {
    if (reply.exit_status != exit_done && !(json && reply.exit_status == exit_refused)) {
        std::fprintf(stderr, "vswitch: %s\n", reply.text.c_str());
        return reply.exit_status;
    }
    std::fwrite(reply.text.data(), 1, reply.text.size(), stdout);
    if (!reply.text.empty() && reply.text.back() != '\n') std::fputc('\n', stdout);
    return std::fflush(stdout) == 0 ? reply.exit_status : exit_refused;
}

int usage(const std::string& what) {
    std::fprintf(stderr, "vswitch: %s\nRun with --help for more information.\n", what.c_str());
    return exit_usage;
}

}  // namespace

int main(int argc, char** argv) {
    // What follows "--" belongs to a program of the user's, whatever it looks like.
    char** const end = argv + argc;
    char** const dashes = std::find_if(argv, end, [](const char* word) { return std::string_view(word) == "--"; });
    const std::vector<std::string> command(dashes == end ? end : dashes + 1, end);

    CLI::App app("A virtual PoE switch for the unmodified poe_drv daemon", "vswitch");
    app.footer(verbs_help);
    app.allow_extras();
    std::string named_control;
    bool json = false;
    bool attached = false;
    run_options options;
    app.add_option("--control", named_control,
                   "Control socket (default: $VSWITCH_CONTROL, or the only switch that runs)");
    app.add_flag("--json", json, "Answer in JSON");
    CLI::App* run_command =
        app.add_subcommand("run", "Run the daemon on a virtual switch: vswitch run [OPTIONS] -- poe_drv [STATUS-FILE]")
            ->fallthrough();
    declare_run(*run_command, options);
    serve_options serving;
    CLI::App* serve_command =
        app.add_subcommand("serve", "Serve /dev/poe_kernel_drv and /dev/cpld_rtl819x as real devices, through CUSE")
            ->fallthrough();
    declare_serve(*serve_command, serving);
    CLI::App* exec_command = app.add_subcommand("exec", "Run a command inside the world: vswitch exec -- COMMAND...");
    exec_command->fallthrough();
    exec_command->add_flag("--attach", attached, "With the switch's devices and time");
    try {
        app.parse(static_cast<int>(dashes - argv), argv);
    } catch (const CLI::CallForHelp& wanted) {
        return app.exit(wanted);
    } catch (const CLI::ParseError& error) {
        return usage(error.what());
    }

    if (run_command->parsed()) {
        if (!run_command->remaining().empty() || !app.remaining().empty()) return usage("the daemon follows behind --");
        options.control = named_control;
        options.command = command.empty() ? std::vector<std::string>{"poe_drv"} : command;
        return run(options);
    }
    if (serve_command->parsed()) {
        if (!serve_command->remaining().empty() || !app.remaining().empty() || !command.empty()) {
            return usage("serve takes options only");
        }
        serving.control = named_control;
        return serve(serving);
    }
    std::string problem;
    if (exec_command->parsed()) {
        if (command.empty() || !exec_command->remaining().empty() || !app.remaining().empty()) {
            return usage("the command follows behind --");
        }
    } else if (app.remaining().empty()) {
        return usage("run, serve, exec or a verb is missing");
    }
    const std::filesystem::path control = find_control(named_control, problem);
    if (control.empty()) return print({.exit_status = exit_no_switch, .text = problem}, json);
    if (exec_command->parsed()) return enter_and_run(control, command, attached);
    std::vector<std::string> words = app.remaining();
    words.insert(words.end(), command.begin(), command.end());
    return print(ask(control, words, json), json);
}
