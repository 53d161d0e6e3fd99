#include "core/diagnostics.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "captured_lines.h"
#include "world/world.h"

namespace {

using testing::ElementsAre;

// Standard error stands for something else while it lives; -1 closes it.
class other_standard_error {
  public:
    explicit other_standard_error(int descriptor) {
        if (descriptor >= 0) {
            dup2(descriptor, STDERR_FILENO);
        } else {
            close(STDERR_FILENO);
        }
    }
    ~other_standard_error() {
        dup2(former, STDERR_FILENO);
        close(former);
    }
    other_standard_error(const other_standard_error&) = delete;
    other_standard_error& operator=(const other_standard_error&) = delete;

  private:
    int former = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
};

class diagnostics : public world_test {};

TEST_F(diagnostics, a_line_is_one_write_to_standard_error) {
    const captured_lines errors(STDERR_FILENO);
    const captured_lines output(STDOUT_FILENO);
    say("[%s , %s() , %d]: value=(%d)\n", diagnostics_file_name, "some_function", 123, -4);
    say("plain 100%%\n");
    EXPECT_THAT(errors.take(), ElementsAre("[poe_drv.c , some_function() , 123]: value=(-4)\n", "plain 100%\n"));
    EXPECT_THAT(output.take(), ElementsAre());
}

TEST_F(diagnostics, a_line_to_standard_output_is_one_write_and_needs_no_flush) {
    const captured_lines errors(STDERR_FILENO);
    const captured_lines output(STDOUT_FILENO);
    say_out("LED %d %s\n", 3, "on");
    say_out("LED %d %s\n", 2, "off");
    EXPECT_THAT(output.take(), ElementsAre("LED 3 on\n", "LED 2 off\n"));
    EXPECT_THAT(errors.take(), ElementsAre());
}

TEST_F(diagnostics, a_line_of_512_bytes_is_whole_and_a_longer_one_is_cut_but_still_ends) {
    const captured_lines errors(STDERR_FILENO);
    for (const std::size_t length : {510u, 511u, 512u}) {
        const std::string text(length - 1, 'x');
        say("%s\n", text.c_str());
        EXPECT_THAT(errors.take(), ElementsAre(text + "\n"));
    }
    for (const std::size_t length : {513u, 514u, 5000u}) {
        say("%s\n", std::string(length - 1, 'x').c_str());
        std::string cut(longest_line, 'x');
        cut.back() = '\n';
        EXPECT_THAT(errors.take(), ElementsAre(cut));
    }
}

TEST_F(diagnostics, a_line_that_cannot_be_composed_is_never_written_and_the_next_one_is) {
    std::vector<std::size_t> written;  // the lengths alone: what a wrong one reaches is nobody's
    the_world.on_line = [&](int, std::string_view line) { written.push_back(line.size()); };
    say("%ls\n", L"\u00e9");  // a letter that the C locale has not
    say("next\n");
    EXPECT_THAT(written, ElementsAre(std::string_view("next\n").size()));
}

TEST_F(diagnostics, a_closed_standard_error_loses_the_line_and_nothing_else) {
    const other_standard_error none(-1);
    say("lost\n");
    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1);
}

TEST_F(diagnostics, a_broken_or_a_full_pipe_loses_the_line_without_waiting) {
    const auto former = std::signal(SIGPIPE, SIG_IGN);  // as the daemon's start sets it
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    {
        const other_standard_error pipe(ends[1]);
        for (int i = 0; i < 10000; i++)
            say("a line that goes nowhere, until the pipe is full and beyond\n");
        close(ends[0]);
        say("broken\n");
    }
    close(ends[1]);
    std::signal(SIGPIPE, former);
}

TEST_F(diagnostics, lines_of_two_threads_never_mix) {
    constexpr int lines_each = 2000;
    char path[] = "/tmp/poe_lines_XXXXXX";
    const int file = mkostemp(path, O_APPEND);
    ASSERT_GE(file, 0);
    {
        const other_standard_error shared(file);
        const auto talk = [](char letter) {
            const std::string text(60, letter);
            for (int i = 0; i < lines_each; i++)
                say("%s\n", text.c_str());
        };
        std::thread first(talk, 'a');
        std::thread second(talk, 'b');
        first.join();
        second.join();
    }
    close(file);
    int whole = 0;
    std::ifstream written(path);
    for (std::string line; std::getline(written, line);) {
        if (line == std::string(60, 'a') || line == std::string(60, 'b')) whole++;
    }
    std::remove(path);
    EXPECT_EQ(whole, 2 * lines_each);
}

}  // namespace
