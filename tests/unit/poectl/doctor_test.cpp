#include "poectl/verbs/doctor.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "client/fake_daemon.h"
#include "shown.h"

namespace {

using namespace poectl;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
namespace fs = std::filesystem;

// A machine in a folder.
class a_machine : public testing::Test {
  protected:
    temporary_folder folder;
    machine here{.root = folder.path, .program_folder = folder.path + "/opt/bin"};

    std::string at(const std::string& path) const { return folder.path + path; }
    void write(const std::string& path, const std::string& text = "") const {
        fs::create_directories(fs::path(at(path)).parent_path());
        std::ofstream(at(path)) << text;
    }
    void make_folder(const std::string& path) const { fs::create_directories(at(path)); }
    void link(const std::string& to, const std::string& path) const {
        fs::create_directories(fs::path(at(path)).parent_path());
        fs::create_symlink(to, at(path));
    }
    void make_pipe(const std::string& path) const {
        fs::create_directories(fs::path(at(path)).parent_path());
        ASSERT_EQ(mkfifo(at(path).c_str(), 0600), 0);
    }
    void make_process(const std::string& pid, const std::string& name, const std::string& world,
                      const std::string& maps = "") const {
        write("/proc/" + pid + "/comm", name + "\n");
        write("/proc/" + pid + "/maps", maps);
        if (!world.empty()) link(world, "/proc/" + pid + "/ns/mnt");
    }
    // A shared library of this machine with these names in it.
    std::string library(const std::string& names) const {
        std::ifstream self("/proc/self/exe", std::ios::binary);
        std::string bytes(64, '\0');
        self.read(bytes.data(), 64);
        for (const char letter : names)
            bytes += letter == ' ' ? '\0' : letter;
        return bytes;
    }
};

finding only(const std::vector<finding>& found) {
    EXPECT_THAT(found, SizeIs(1));
    return found.empty() ? finding{} : found.front();
}

void expect_good(const finding& one) {
    EXPECT_EQ(one.result, verdict::ok) << one.subject << " " << one.what;
    EXPECT_THAT(one.mend, IsEmpty());
}

void expect_bad(const finding& one, verdict result, const std::string& what) {
    EXPECT_EQ(one.result, result) << one.subject;
    EXPECT_THAT(one.what, HasSubstr(what));
    EXPECT_GT(one.mend.size(), 5U) << "each finding has its mend";
}

TEST_F(a_machine, without_devices_has_a_fault_and_a_warning) {
    const auto found = examine_devices(here);
    ASSERT_THAT(found, SizeIs(2));
    expect_bad(found[0], verdict::fault, "the daemon cannot start");
    expect_bad(found[1], verdict::warning, "LEDs");
}

TEST_F(a_machine, with_a_file_in_the_place_of_a_device_has_a_fault) {
    write("/dev/poe_kernel_drv");
    expect_bad(examine_devices(here)[0], verdict::fault, "is a file, not a character device");
}

TEST_F(a_machine, with_a_real_device_is_well) {
    make_folder("/dev");
    if (mknod(at("/dev/poe_kernel_drv").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0) {
        expect_good(examine_devices(here)[0]);
    } else {
        EXPECT_EQ(errno, EPERM);  // only root makes devices
    }
}

TEST_F(a_machine, has_its_flash_folder_or_says_what_is_lost) {
    expect_bad(only(examine_flash(here)), verdict::warning, "is not there");
    write("/flash");
    expect_bad(only(examine_flash(here)), verdict::warning, "is a file, not a folder");
    fs::remove(at("/flash"));
    make_folder("/flash");
    expect_good(only(examine_flash(here)));
}

TEST_F(a_machine, tells_of_every_mark_in_flash) {
    for (const char* name : {"poe_error_rx_timeout.txt", "poe_error_rx_checksum.txt", "poe_error_tx_checksum.txt",
                             "poe_controller_programming"})
        write(std::string("/flash/") + name);
    write("/flash/PoE_Stress_Test");
    const auto found = examine_flash(here);
    ASSERT_THAT(found, SizeIs(6));
    expect_bad(found[1], verdict::warning, "did not answer");
    expect_bad(found[2], verdict::warning, "answers of the controller were damaged");
    expect_bad(found[3], verdict::warning, "damaged commands");
    expect_bad(found[4], verdict::fault, "serve nobody");
    expect_bad(found[5], verdict::warning, "interrupted");
    EXPECT_THAT(found[5].mend, HasSubstr("minutes while the controller is silent"));
}

TEST_F(a_machine, counts_the_daemons_that_see_the_same_files) {
    link("mnt:[1]", "/proc/self/ns/mnt");
    make_process("7", "other", "mnt:[1]");
    make_process("8", "poe_drv", "mnt:[2]");
    make_folder("/proc/9");
    expect_bad(only(examine_instances(here)), verdict::fault, "does not run");
    make_process("10", "poe_drv", "mnt:[1]");
    expect_good(only(examine_instances(here)));
    EXPECT_THAT(only(examine_instances(here)).what, HasSubstr("process 10"));
    make_process("11", "poe_drv", "mnt:[1]");
    expect_bad(only(examine_instances(here)), verdict::fault, "runs 2 times, as processes 10, 11");
    make_process("12", "poe_drv", "");
    expect_bad(only(examine_instances(here)), verdict::fault, "runs 2 times, as processes 10, 11");
}

TEST_F(a_machine, is_not_said_to_run_several_daemons_by_a_user_who_may_not_know_where_they_are) {
    link("mnt:[1]", "/proc/self/ns/mnt");
    make_process("10", "poe_drv", "");
    expect_good(only(examine_instances(here)));
    make_process("11", "poe_drv", "");
    for (int known = 0; known < 2; known++) {
        const auto found = only(examine_instances(here));
        expect_bad(found, verdict::warning, "runs as processes 10, 11; this user may not see");
        EXPECT_THAT(found.mend, HasSubstr("as root"));
        EXPECT_THAT(found.mend, Not(HasSubstr("end all")));
        fs::remove_all(at("/proc/11"));
        make_process("11", "poe_drv", "mnt:[1]");
    }
}

// A folder opens and cannot be read, as the files of a process do that ends in between.
TEST_F(a_machine, is_examined_while_its_processes_come_and_go) {
    make_process("10", "poe_drv", "");
    make_folder("/proc/11/comm");
    write("/proc/12/comm", "poe_drv\n");
    make_folder("/proc/12/maps");
    expect_bad(only(examine_instances(here)), verdict::warning, "runs as processes 10, 12;");
    EXPECT_THAT(examine_libraries(here), SizeIs(3));
}

TEST_F(a_machine, is_never_told_to_remove_what_nobody_knows) {
    for (const char* path :
         {"/dev/poe_kernel_drv", "/dev/cpld_rtl819x", "/flash", "/tmp/snmp_proc_pipe", "/tmp/daemon"})
        write(path);
    poe_client::connection daemon("/tmp/daemon", std::chrono::milliseconds(1));
    std::size_t strange = 0;
    for (const auto& one : examine(here, daemon)) {
        if (one.what.find("is a file, not a") == std::string::npos) continue;
        strange++;
        EXPECT_THAT(one.mend, Not(HasSubstr("remove"))) << one.subject;
        EXPECT_THAT(one.mend, HasSubstr("move it away")) << one.subject;
    }
    EXPECT_EQ(strange, 5U);
}

TEST_F(a_machine, tells_a_socket_that_is_missing_from_one_that_is_none) {
    poe_client::connection daemon("/tmp/daemon", std::chrono::milliseconds(1));
    expect_bad(only(examine_socket(here, daemon)), verdict::fault, "is not there");
    write("/tmp/daemon");
    expect_bad(only(examine_socket(here, daemon)), verdict::fault, "is a file, not a socket");
}

TEST(a_socket, is_examined_with_its_rights_and_whoever_is_behind_it) {
    fake_daemon daemon(healthy());
    poe_client::connection connection(daemon.socket_path(), std::chrono::seconds(20));
    const machine here{.root = "", .program_folder = ""};
    ASSERT_EQ(chmod(daemon.socket_path().c_str(), 0660), 0);
    auto found = examine_socket(here, connection);
    ASSERT_THAT(found, SizeIs(2));
    expect_good(found[0]);
    EXPECT_THAT(found[0].what, HasSubstr("(mode 0660)"));
    expect_good(found[1]);
    EXPECT_THAT(daemon.requests(), SizeIs(1)) << "one question and no more";
    ASSERT_EQ(chmod(daemon.socket_path().c_str(), 0666), 0);
    expect_bad(examine_socket(here, connection)[0], verdict::warning, "may be written by everybody (mode 0666)");
    ASSERT_EQ(chmod(daemon.socket_path().c_str(), 0400), 0);
    expect_bad(examine_socket(here, connection)[0], verdict::warning, "nobody but root (mode 0400)");
}

TEST(a_socket, that_nobody_answers_on_is_a_fault_with_its_reason) {
    fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{}; });
    poe_client::connection connection(daemon.socket_path(), std::chrono::milliseconds(2));
    const auto found = examine_socket({.root = "", .program_folder = ""}, connection);
    ASSERT_THAT(found, SizeIs(2));
    expect_bad(found[1], verdict::fault, "no answer: poe_drv did not answer within");
}

TEST(a_controller, that_answers_is_seen_at_the_daemons_next_transaction) {
    fake_daemon daemon(with_controller(3));
    poe_client::connection connection(daemon.socket_path(), std::chrono::seconds(20));
    const auto found = examine_controller(connection);
    ASSERT_THAT(found, SizeIs(1));
    expect_good(found[0]);
    EXPECT_THAT(daemon.requests(), SizeIs(5)) << "and its budget is looked at";
}

TEST(a_controller, without_a_budget_is_a_fault) {
    fake_daemon daemon([answer = with_controller()](const message& request, std::size_t number) mutable {
        constexpr std::uint8_t system_status_type = 5;
        constexpr std::size_t total_offset = 8, total_size = 4;
        auto replies = answer(request, number);
        if (request.front() == system_status_type) std::fill_n(&replies.front()[total_offset], total_size, 0);
        return replies;
    });
    poe_client::connection connection(daemon.socket_path(), std::chrono::seconds(20));
    const auto found = examine_controller(connection);
    ASSERT_THAT(found, SizeIs(1));
    expect_bad(found[0], verdict::fault, "has a power budget of 0.0 W");
}

TEST(a_controller, that_does_not_answer_is_a_fault) {
    fake_daemon daemon(healthy());
    poe_client::connection connection(daemon.socket_path(), std::chrono::seconds(20));
    const auto found = examine_controller(connection, std::chrono::milliseconds(1));
    ASSERT_THAT(found, SizeIs(1));
    expect_bad(found[0], verdict::fault, "does not answer poe_drv");
}

TEST(a_controller, is_not_judged_where_the_daemon_does_not_answer) {
    fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{}; });
    poe_client::connection connection(daemon.socket_path(), std::chrono::milliseconds(2));
    EXPECT_THAT(examine_controller(connection), IsEmpty());
}

TEST_F(a_machine, has_a_trap_pipe_that_is_a_pipe) {
    expect_bad(examine_trap_pipe(here)[0], verdict::warning, "nobody gets traps");
    expect_bad(examine_trap_pipe(here)[1], verdict::warning, "not sent yet");
    make_pipe("/tmp/snmp_proc_pipe");
    write("/tmp/poe_send_start_up_trap");
    expect_good(examine_trap_pipe(here)[0]);
    expect_good(examine_trap_pipe(here)[1]);
    fs::rename(at("/tmp/snmp_proc_pipe"), at("/tmp/elsewhere"));
    link("elsewhere", "/tmp/snmp_proc_pipe");
    expect_bad(examine_trap_pipe(here)[0], verdict::fault, "is a link, not a pipe");
}

TEST_F(a_machine, has_platform_libraries_beside_the_program_or_in_the_usual_places) {
    for (const auto& one : examine_libraries(here))
        expect_bad(one, verdict::fault, "the daemon cannot start");
    write("/opt/lib/libpoe_ipc.so", library(" __poe_drv_ipc_socket_and_bind_init  __poe_drv_ipc_send "));
    write("/usr/lib/liblink_mon_intf.so", library(" link_mon_intf_param_get "));
    write("/opt/lib/libOrvCom.so", library(" utilBitmapSet  utilBitmapClear "));
    make_folder("/opt/bin");
    const auto found = examine_libraries(here);
    ASSERT_THAT(found, SizeIs(3));
    expect_good(found[0]);
    EXPECT_EQ(found[0].subject, at("/opt/lib/libpoe_ipc.so"));
    expect_good(found[1]);
    expect_bad(found[2], verdict::fault, "does not know utilBitmapCheck");
}

TEST_F(a_machine, has_platform_libraries_that_are_libraries_of_this_machine) {
    make_folder("/opt/bin");
    write("/opt/lib/libpoe_ipc.so", "#!/bin/sh\n");
    expect_bad(examine_libraries(here)[0], verdict::fault, "is no shared library");
    auto foreign = library(" __poe_drv_ipc_socket_and_bind_init  __poe_drv_ipc_send ");
    foreign[18] = static_cast<char>(foreign[18] ^ 1);
    write("/opt/lib/libpoe_ipc.so", foreign);
    expect_bad(examine_libraries(here)[0], verdict::fault, "is for another machine");
}

TEST_F(a_machine, has_the_platform_libraries_that_the_running_daemon_loaded) {
    make_process("10", "poe_drv", "", "7f00-7f01 r--p 00 08:01 5   /switch/libpoe_ipc.so\n7f02 other\n");
    write("/switch/libpoe_ipc.so", library(" __poe_drv_ipc_socket_and_bind_init  __poe_drv_ipc_send "));
    EXPECT_EQ(examine_libraries(here)[0].subject, at("/switch/libpoe_ipc.so"));
}

TEST_F(a_machine, has_an_interface_for_every_port) {
    for (const auto& one : examine_interfaces(here))
        expect_bad(one, verdict::warning, "always counts as down");
    for (const char* name : {"lan1", "lan2", "lan4"})
        make_folder(std::string("/sys/class/net/") + name);
    const auto found = examine_interfaces(here);
    ASSERT_THAT(found, SizeIs(4));
    expect_good(found[0]);
    EXPECT_EQ(found[1].what, "is the interface of port 2");
    expect_bad(found[2], verdict::warning, "the link of port 3");
}

TEST_F(a_machine, that_is_a_virtual_switch_has_links_of_its_own) {
    make_folder("/dev");
    const int device = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    at("/dev/poe_kernel_drv").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(device, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(device);
    for (const auto& one : examine_interfaces(here)) {
        expect_good(one);
        EXPECT_THAT(one.what, HasSubstr("a virtual switch's link"));
    }
    EXPECT_EQ(examine_interfaces(here)[2].what, "is port 3's, with a virtual switch's link");
}

TEST_F(a_machine, has_a_budget_file_with_a_number_or_none) {
    expect_good(only(examine_budget(here)));
    for (const char* text : {"240\n", " 65535", "0", "12 W"}) {
        write("/tmp/poe_external_set_power_budget.txt", text);
        expect_good(only(examine_budget(here)));
    }
    for (const char* text : {"", "x", "-1", "65536", "99999999999999999999"}) {
        write("/tmp/poe_external_set_power_budget.txt", text);
        expect_bad(only(examine_budget(here)), verdict::warning, "holds no number of watts");
    }
}

TEST_F(a_machine, with_a_pipe_in_the_place_of_the_budget_file_does_not_keep_the_doctor_waiting) {
    make_pipe("/tmp/poe_external_set_power_budget.txt");
    expect_bad(only(examine_budget(here)), verdict::warning, "holds no number of watts");
}

TEST_F(a_machine, is_examined_whole_and_left_as_it_was) {
    make_pipe("/tmp/snmp_proc_pipe");
    make_folder("/flash");
    const auto names = [this] {
        std::vector<std::string> list;
        for (const auto& entry : fs::recursive_directory_iterator(folder.path))
            list.push_back(entry.path());
        std::sort(list.begin(), list.end());
        return list;
    };
    const auto before = names();
    poe_client::connection daemon(folder.path + "/tmp/daemon", std::chrono::milliseconds(1));
    const auto found = examine(here, daemon);
    EXPECT_EQ(names(), before);
    std::set<std::string_view> checks;
    for (const auto& one : found)
        checks.insert(one.check);
    EXPECT_THAT(checks,
                testing::ElementsAre("budget_file", "controller_device", "cpld_device", "flash_folder", "instances",
                                     "interface", "platform_library", "socket", "trap_flag", "trap_pipe"));
}

TEST(the_doctor, says_each_finding_with_its_mend_and_counts_them) {
    picture seen = empty_picture(entry_of(verb::doctor).shape);
    depict_findings({{"socket", verdict::fault, "/s", "is not there", "start it"},
                     {"interface", verdict::warning, "lan1", "is not there", "name it"},
                     {"flash_folder", verdict::ok, "/flash", "is a folder", ""}},
                    seen);
    EXPECT_EQ(seen.exit_status, 1);
    EXPECT_EQ(page(seen),
              "RESULT   WHAT WAS LOOKED AT, AND FOUND\n"
              "fault    /s is not there\n"
              "           mend: start it\n"
              "warning  lan1 is not there\n"
              "           mend: name it\n"
              "ok       /flash is a folder\n"
              "\n"
              "1 fault, 1 warning.\n");
    const auto told = document(verb::doctor, seen);
    EXPECT_EQ(told["verdict"], facts::parse(R"({"healthy": false, "faults": 1, "warnings": 1})"));
    EXPECT_EQ(told["checks"][0]["mend"], "start it");
    EXPECT_TRUE(told["checks"][2]["mend"].is_null());
}

TEST(the_doctor, is_content_with_warnings_and_glad_without) {
    picture warned = empty_picture(entry_of(verb::doctor).shape), glad = warned;
    depict_findings({{"interface", verdict::warning, "lan1", "is not there", "name it"}}, warned);
    EXPECT_EQ(warned.exit_status, 0);
    depict_findings({{"flash_folder", verdict::ok, "/flash", "is a folder", ""}}, glad);
    EXPECT_THAT(page(glad), testing::EndsWith("\nNothing is wrong.\n"));
}

}  // namespace
