#include "poectl/verbs/machine.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "core/paths.h"
#include "poe_client/requests.h"
#include "poectl/file_kind.h"
#include "poectl/messages.h"
#include "poectl/words.h"

namespace poectl {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view daemon_name = "poe_drv";

// Of the file itself: a link is not followed.
std::optional<struct stat> look_at(const std::string& path) {
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0) return std::nullopt;
    return file;
}

bool is_there(const std::string& path) {
    return look_at(path).has_value();
}

// Regular files only: reading anything else may take something from somebody, or wait.
std::string contents_of(const std::string& path, std::size_t most) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) return {};
    std::ifstream stream(path, std::ios::binary);
    std::string text(most, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(most));
    text.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return text;
}

// A file of the kernel's, which has no size. What it tells of a process ends with that process: what was read until
// then counts, and a failed read is no exception here.
std::string kernel_text(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return std::move(text).str();
}

std::string first_line(std::string text) {
    text.erase(std::min(text.find('\n'), text.size()));
    return text;
}

std::string octal(mode_t mode) {
    constexpr unsigned bits = 3;
    std::string text = "0";
    for (const unsigned place : {2U, 1U, 0U})
        text += static_cast<char>('0' + (mode >> (place * bits) & 7U));
    return text;
}

finding device(const machine& where, std::string_view check, const char* path, verdict when_missing, const char* effect,
               const char* mend) {
    const auto file = look_at(where.root + path);
    if (!file) return {check, when_missing, path, std::string("is not there: ") + effect, mend};
    if (S_ISSOCK(file->st_mode)) return {check, verdict::ok, path, "is a virtual switch's", ""};
    if (!S_ISCHR(file->st_mode)) {
        return {check, verdict::fault, path, "is " + words_of_kind(file->st_mode) + ", not a character device",
                std::string("see what it is and move it away; then ") + mend};
    }
    return {check, verdict::ok, path, "is a character device", ""};
}

bool is_virtual_switch(const machine& where) {
    const auto file = look_at(where.root + poe_controller_device_path);
    return file && S_ISSOCK(file->st_mode);
}

struct instance {
    std::string pid;
    bool is_here;      // it sees the same files as this process; false when this user may not know
    std::string maps;  // what it has loaded; empty when this user may not know
};

// Processes of the daemon's name, without those that see other files than this one.
std::vector<instance> instances(const machine& where) {
    const std::string processes = where.root + "/proc";
    std::error_code unused;
    const auto here = fs::read_symlink(processes + "/self/ns/mnt", unused);
    std::vector<instance> list;
    for (const auto& entry : fs::directory_iterator(processes, unused)) {
        const std::string pid = entry.path().filename();
        if (pid.find_first_not_of("0123456789") != std::string::npos) continue;
        if (first_line(kernel_text(entry.path() / "comm")) != daemon_name) continue;
        const auto there = fs::read_symlink(entry.path() / "ns/mnt", unused);
        const bool is_known = !there.empty() && !here.empty();
        if (is_known && there != here) continue;
        list.push_back({.pid = pid, .is_here = is_known, .maps = kernel_text(entry.path() / "maps")});
    }
    std::sort(list.begin(), list.end(), [](const auto& one, const auto& other) { return one.pid < other.pid; });
    return list;
}

// --- platform libraries ---

struct library_row {
    const char* name;
    std::array<std::string_view, 3> symbols;  // what the daemon calls, and empty ones
};

constexpr std::array libraries{
    library_row{"libpoe_ipc.so", {"__poe_drv_ipc_socket_and_bind_init", "__poe_drv_ipc_send"}},
    library_row{"liblink_mon_intf.so", {"link_mon_intf_param_get"}},
    library_row{"libOrvCom.so", {"utilBitmapSet", "utilBitmapClear", "utilBitmapCheck"}},
};

constexpr std::array usual_folders{"/lib", "/usr/lib", "/lib64", "/usr/lib64", "/usr/local/lib"};
constexpr std::size_t elf_head = 20;  // up to the machine that it is for

std::string loaded_path(const std::vector<instance>& daemons, const std::string& name) {
    for (const auto& one : daemons) {
        const std::size_t end = one.maps.find("/" + name + "\n");
        if (end == std::string::npos) continue;
        const std::size_t begin = one.maps.find('/', one.maps.rfind('\n', end) + 1);
        return one.maps.substr(begin, end + 1 + name.size() - begin);
    }
    return {};
}

std::string path_of_library(const machine& where, const std::vector<instance>& daemons, const std::string& name) {
    const std::string loaded = loaded_path(daemons, name);
    if (!loaded.empty()) return where.root + loaded;
    const std::string beside = where.program_folder + "/../" POE_LIBRARY_FOLDER "/" + name;
    if (is_there(beside)) return fs::path(beside).lexically_normal();
    for (const char* folder : usual_folders) {
        if (is_there(where.root + folder + "/" + name)) return where.root + folder + "/" + name;
    }
    return {};
}

finding library(const machine& where, const std::vector<instance>& daemons, const library_row& wanted) {
    constexpr const char* check = "platform_library";
    constexpr std::size_t longest = 64U << 20U;
    const std::string path = path_of_library(where, daemons, wanted.name);
    if (path.empty()) {
        return {check, verdict::fault, wanted.name, "is not where the daemon looks for it: the daemon cannot start",
                "install poe_drv with its libraries, or put the switch's own copy beside them"};
    }
    const std::string bytes = contents_of(path, longest);
    const std::string own = contents_of("/proc/self/exe", elf_head);
    if (bytes.compare(0, 4, "\177ELF") != 0) {
        return {check, verdict::fault, path, "is no shared library", "install it again"};
    }
    constexpr std::size_t class_at = 4, class_size = 2, machine_at = 18, machine_size = 2;
    if (bytes.compare(class_at, class_size, own, class_at, class_size) != 0 ||
        bytes.compare(machine_at, machine_size, own, machine_at, machine_size) != 0) {
        return {check, verdict::fault, path, "is for another machine", "install the copy for this machine"};
    }
    for (const auto symbol : wanted.symbols) {
        const std::string in_its_table = std::string(1, '\0').append(symbol) + '\0';
        if (!symbol.empty() && bytes.find(in_its_table) == std::string::npos) {
            return {check, verdict::fault, path, "does not know " + std::string(symbol),
                    "install a copy that exports what poe_drv calls"};
        }
    }
    return {check, verdict::ok, path, "is there", ""};
}

// --- socket ---

finding answer(poe_client::connection& daemon) {
    constexpr const char* check = "daemon";
    const auto error = get_system_settings(daemon).error;
    if (error.kind == poe_client::failure_kind::none) {
        return {check, verdict::ok, daemon.socket_path(), "answers", ""};
    }
    const auto trouble = problem_of(error, daemon.socket_path(), poe_client::default_timeout);
    return {check, verdict::fault, daemon.socket_path(), trouble.what + ": " + trouble.why, trouble.advice};
}

// --- flash ---

struct mark_row {
    const char* path;
    const char* meaning;
};

constexpr std::array error_marks{
    mark_row{rx_timeout_marks_path, "the controller did not answer"},
    mark_row{rx_checksum_marks_path, "answers of the controller were damaged"},
    mark_row{tx_checksum_marks_path, "the controller got damaged commands"},
};

void examine_marks(const machine& where, std::vector<finding>& found) {
    for (const auto& [path, meaning] : error_marks) {
        if (!is_there(where.root + path)) continue;
        found.push_back(
            {"error_marks", verdict::warning, path, std::string("tells that ") + meaning,
             "see 'poectl counters'; when it grows, look at the controller's wiring; then remove the file"});
    }
    if (is_there(where.root + stress_test_flag_path)) {
        found.push_back({"stress_test", verdict::fault, stress_test_flag_path,
                         "makes the daemon test the controller for ever and serve nobody",
                         "remove the file and restart poe_drv"});
    }
    if (is_there(where.root + controller_programming_mark_path)) {
        found.push_back({"programming", verdict::warning, controller_programming_mark_path,
                         "tells that programming the controller goes on, or was interrupted",
                         "wait ten seconds, or minutes while the controller is silent; if it stays, restart poe_drv"});
    }
}

}  // namespace

machine this_machine() {
    std::error_code unused;
    return {.root = "", .program_folder = fs::read_symlink("/proc/self/exe", unused).parent_path()};
}

std::vector<finding> examine_devices(const machine& where) {
    return {device(where, "controller_device", poe_controller_device_path, verdict::fault, "the daemon cannot start",
                   "load the kernel driver of the PoE controller"),
            device(where, "cpld_device", cpld_device_path, verdict::warning, "the ports' LEDs stay as they are",
                   "load the kernel driver of the CPLD")};
}

std::vector<finding> examine_flash(const machine& where) {
    constexpr const char* check = "flash_folder";
    const std::string folder = fs::path(statistics_file_path).parent_path();
    const std::string path = where.root + folder;
    std::vector<finding> found;
    struct stat file {};
    struct statvfs medium {};
    if (stat(path.c_str(), &file) != 0) {
        found.push_back({check, verdict::warning, folder, "is not there: energy totals and error marks are lost",
                         "mount the flash there, or make the folder"});
    } else if (!S_ISDIR(file.st_mode)) {
        found.push_back({check, verdict::warning, folder, "is " + words_of_kind(file.st_mode) + ", not a folder",
                         "see what it is, move it away and mount the flash there"});
    } else if (statvfs(path.c_str(), &medium) == 0 && (medium.f_flag & ST_RDONLY) != 0) {
        found.push_back({check, verdict::warning, folder, "can only be read: energy totals and error marks are lost",
                         "mount the flash for writing"});
    } else if (medium.f_blocks > 0 && medium.f_bavail == 0) {
        found.push_back({check, verdict::warning, folder, "is full: energy totals and error marks are lost",
                         "remove what nobody needs there"});
    } else {
        found.push_back({check, verdict::ok, folder, "is a folder with room", ""});
    }
    examine_marks(where, found);
    return found;
}

std::vector<finding> examine_instances(const machine& where) {
    constexpr const char* check = "instances";
    const auto running = instances(where);
    const std::string name(daemon_name);
    if (running.empty())
        return {{check, verdict::fault, name, "does not run", "start it; its status file says why it ended"}};
    if (running.size() == 1) return {{check, verdict::ok, name, "runs as process " + running.front().pid, ""}};
    std::string all, here;
    std::size_t count_here = 0;
    for (const auto& one : running) {
        all += (all.empty() ? "" : ", ") + one.pid;
        if (!one.is_here) continue;
        here += (here.empty() ? "" : ", ") + one.pid;
        count_here++;
    }
    if (count_here < 2) {  // the others may belong to a container or to a virtual switch
        return {{check, verdict::warning, name,
                 "runs as processes " + all + "; this user may not see whether more than one of them is at work here",
                 "run 'poectl doctor' as root, who may, before you end any of them"}};
    }
    return {{check, verdict::fault, name, "runs " + std::to_string(count_here) + " times, as processes " + here,
             "end all of them and start one: only one may talk to the controller"}};
}

std::vector<finding> examine_socket(const machine& where, poe_client::connection& daemon) {
    constexpr const char* check = "socket";
    const std::string path = daemon.socket_path();
    const auto file = look_at(where.root + path);
    std::vector<finding> found;
    if (!file) {
        found.push_back(
            {check, verdict::fault, path, "is not there", "start poe_drv, or name its socket with --socket"});
        return found;
    }
    if (!S_ISSOCK(file->st_mode)) {
        found.push_back({check, verdict::fault, path, "is " + words_of_kind(file->st_mode) + ", not a socket",
                         "name poe_drv's socket with --socket; if this is its place, see what it is, move it away and "
                         "start poe_drv"});
        return found;
    }
    const mode_t rights = file->st_mode & 07777U;
    if ((rights & S_IWOTH) != 0) {
        found.push_back({check, verdict::warning, path, "may be written by everybody (mode " + octal(rights) + ")",
                         "chmod o= " + path + ", and see who changed it"});
    } else if ((rights & (S_IWUSR | S_IWGRP)) == 0) {
        found.push_back({check, verdict::warning, path,
                         "may be written by nobody but root (mode " + octal(rights) + ")", "chmod ug+rw " + path});
    } else {
        found.push_back(
            {check, verdict::ok, path, "is a socket for its owner and group (mode " + octal(rights) + ")", ""});
    }
    found.push_back(answer(daemon));
    return found;
}

std::vector<finding> examine_controller(poe_client::connection& daemon, std::chrono::milliseconds patience) {
    constexpr const char *check = "controller", *subject = "the PoE controller";
    poe_client::communication_counters before{};
    bool answers = false;
    auto error = take(get_communication_counters(daemon), before);
    if (succeeded(error)) error = read_whether_controller_answers(daemon, before, answers, patience);
    if (!succeeded(error)) return {};
    if (!answers) {
        return {{check, verdict::fault, subject, "does not answer poe_drv: status and power of the ports are old",
                 "look at the controller's wiring and power; 'poectl counters' tells how its answers fail"}};
    }
    poe_client::system_status system{};
    if (succeeded(take(get_system_status(daemon), system)) && system.total_mw == 0) {
        return {{check, verdict::fault, subject, "has a power budget of 0.0 W: no port gets power",
                 "restart poe_drv, which programs the budget when it starts, or set one with 'poectl bank set'"}};
    }
    return {{check, verdict::ok, subject, "answers poe_drv", ""}};
}

std::vector<finding> examine_trap_pipe(const machine& where) {
    constexpr const char* check = "trap_pipe";
    std::vector<finding> found;
    const auto file = look_at(where.root + trap_pipe_path);
    if (!file) {
        found.push_back({check, verdict::warning, trap_pipe_path, "is not there: nobody gets traps",
                         "start the trap receiver, which makes it"});
    } else if (!S_ISFIFO(file->st_mode)) {
        found.push_back({check, verdict::fault, trap_pipe_path,
                         "is " + words_of_kind(file->st_mode) + ", not a pipe: nobody gets traps",
                         "see what it is, move it away and restart the trap receiver"});
    } else {
        found.push_back({check, verdict::ok, trap_pipe_path, "is a pipe", ""});
    }
    if (!is_there(where.root + start_up_trap_flag_path)) {
        found.push_back({"trap_flag", verdict::warning, start_up_trap_flag_path,
                         "is not there: traps of ports are not sent yet",
                         "start the trap receiver, which makes it when it is ready"});
    } else {
        found.push_back({"trap_flag", verdict::ok, start_up_trap_flag_path, "is there: traps are sent", ""});
    }
    return found;
}

std::vector<finding> examine_libraries(const machine& where) {
    const auto daemons = instances(where);
    std::vector<finding> found;
    for (const auto& one : libraries)
        found.push_back(library(where, daemons, one));
    return found;
}

std::vector<finding> examine_interfaces(const machine& where) {
    std::vector<finding> found;
    found.reserve(poe_client::port_count);
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        const std::string name(interface_name(port));
        const std::string number = std::to_string(panel_number(port));
        if (is_virtual_switch(where)) {
            found.push_back(
                {"interface", verdict::ok, name, "is port " + number + "'s, with a virtual switch's link", ""});
            continue;
        }
        const bool there = is_there(where.root + "/sys/class/net/" + name);
        found.push_back({"interface", there ? verdict::ok : verdict::warning, name,
                         there ? "is the interface of port " + number
                               : "is not there: the link of port " + number + " always counts as down",
                         there ? ""
                               : "name the interfaces when building (POE_LINK_INTERFACES), or install the switch's own "
                                 "liblink_mon_intf.so"});
    }
    return found;
}

std::vector<finding> examine_budget(const machine& where) {
    constexpr const char* check = "budget_file";
    constexpr std::size_t longest = 64;
    constexpr unsigned most_w = 65535;
    if (!is_there(where.root + power_budget_path)) {
        return {{check, verdict::ok, power_budget_path, "is not there: the budget is the usual 300 W", ""}};
    }
    std::string text = contents_of(where.root + power_budget_path, longest);
    text.erase(0, text.find_first_not_of(" \t\n\v\f\r"));
    unsigned watts = 0;
    const auto [behind, error] = std::from_chars(text.data(), text.data() + text.size(), watts);
    if (error != std::errc{} || watts > most_w) {
        return {{check, verdict::warning, power_budget_path, "holds no number of watts: the budget is the usual 300 W",
                 "write whole watts into it and restart poe_drv"}};
    }
    return {{check, verdict::ok, power_budget_path, "asks for " + std::to_string(watts) + " W", ""}};
}

std::vector<finding> examine(const machine& where, poe_client::connection& daemon) {
    std::vector<finding> all;
    const auto add = [&all](std::vector<finding> some) {
        std::move(some.begin(), some.end(), std::back_inserter(all));
    };
    add(examine_devices(where));
    add(examine_libraries(where));
    add(examine_flash(where));
    add(examine_instances(where));
    add(examine_socket(where, daemon));
    add(examine_controller(daemon));
    add(examine_interfaces(where));
    add(examine_budget(where));
    add(examine_trap_pipe(where));
    return all;
}

}  // namespace poectl
