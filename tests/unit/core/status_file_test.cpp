#include "core/status_file.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <pthread.h>

#include "world/records.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class status_file : public records_test {
  protected:
    status_file() { g_say_bye_bye_file_path = nullptr; }
    ~status_file() override { g_say_bye_bye_file_path = nullptr; }
};

TEST_F(status_file, a_message_is_echoed_into_the_file_by_the_shell) {
    g_say_bye_bye_file_path = "/var/run/poe.status";
    say_message_to_file("poe user space driver running.");
    EXPECT_THAT(the_world.shell_commands, ElementsAre("echo \"poe user space driver running.\" > /var/run/poe.status"));
}

TEST_F(status_file, without_a_path_nothing_is_run) {
    say_message_to_file("poe user space driver running.");
    EXPECT_THAT(the_world.shell_commands, IsEmpty());
}

TEST_F(status_file, neither_the_message_nor_the_path_is_quoted_or_escaped) {
    g_say_bye_bye_file_path = "/tmp/my file; echo %s";
    say_message_to_file("it's \"100%\" $HOME");
    EXPECT_THAT(the_world.shell_commands, ElementsAre("echo \"it's \"100%\" $HOME\" > /tmp/my file; echo %s"));
}

TEST_F(status_file, an_empty_path_is_a_path) {
    g_say_bye_bye_file_path = "";
    say_message_to_file("text");
    EXPECT_THAT(the_world.shell_commands, ElementsAre("echo \"text\" > "));
}

TEST_F(status_file, a_path_of_5000_characters_is_used_whole) {
    const std::string path(5000, 'p');
    g_say_bye_bye_file_path = path.c_str();
    say_message_to_file("text");
    EXPECT_THAT(the_world.shell_commands, ElementsAre("echo \"text\" > " + path));
}

TEST_F(status_file, the_longest_command_that_a_shell_can_be_given_is_run_and_a_longer_one_is_not) {
    const std::string head = "echo \"text\" > ";
    const std::string longest(131071 - head.size(), 'p');
    g_say_bye_bye_file_path = longest.c_str();
    say_message_to_file("text");
    EXPECT_THAT(the_world.shell_commands, ElementsAre(head + longest));

    const std::string too_long = longest + "p";
    g_say_bye_bye_file_path = too_long.c_str();
    say_message_to_file("text");
    EXPECT_EQ(the_world.shell_commands.size(), 1u);
}

TEST_F(status_file, the_file_holds_the_last_message_alone) {
    char folder[] = "/tmp/poe_status_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string path = std::string(folder) + "/status";
    g_say_bye_bye_file_path = path.c_str();
    say_message_to_file("poe user space driver running.");
    say_message_to_file("last words");
    for (const std::string& command : the_world.shell_commands)
        ASSERT_EQ(std::system(command.c_str()), 0);
    std::ifstream file(path);
    const std::string contents{std::istreambuf_iterator<char>(file), {}};
    std::filesystem::remove_all(folder);
    EXPECT_EQ(contents, "last words\n");
}

// Shows on standard error, from within the exiting process, what the shell was asked to do.
void show_commands_at_exit() {
    std::atexit([] {
        for (const std::string& command : the_world.shell_commands)
            std::fprintf(stderr, "ran: %s\n", command.c_str());
        std::fprintf(stderr, "%zu commands\n", the_world.shell_commands.size());
    });
}

class fatal_exit : public status_file {
  protected:
    fatal_exit() { GTEST_FLAG_SET(death_test_style, POE_DEATH_TEST_STYLE); }
};

TEST_F(fatal_exit, it_writes_the_message_and_ends_the_process_with_the_status) {
    EXPECT_EXIT(
        {
            show_commands_at_exit();
            g_say_bye_bye_file_path = "/status";
            say_bye_bye_and_exit(1, "poe device driver open(...) fail!");
        },
        testing::ExitedWithCode(1), "ran: echo \"poe device driver open\\(\\.\\.\\.\\) fail!\" > /status\n1 commands");
}

TEST_F(fatal_exit, without_a_status_file_it_only_ends_the_process) {
    EXPECT_EXIT(
        {
            show_commands_at_exit();
            say_bye_bye_and_exit(3, "text");
        },
        testing::ExitedWithCode(3), "^0 commands");
}

TEST_F(fatal_exit, it_is_safe_beside_a_running_thread) {
    const auto use_the_records_for_ever = [](void*) -> void* {
        for (;;) {
            g_poe_thread_tick_cnt.set(g_poe_thread_tick_cnt.get() + 1);
            g_port_pmt[3].Power_Limit_Val.set(g_poe_thread_tick_cnt.get());
            const tick_lock held;
            g_port_stu[2].update_tick++;
        }
    };
    EXPECT_EXIT(
        {
            pthread_t thread;
            pthread_create(&thread, nullptr, use_the_records_for_ever, nullptr);
            pthread_detach(thread);
            while (g_poe_thread_tick_cnt.get() < 100) {
            }
            say_bye_bye_and_exit(1, "text");
        },
        testing::ExitedWithCode(1), "");
}

}  // namespace
