#include "stats/flash_file.h"

#include "stats/stats_bench.h"

namespace {

class statistics_file : public stats_bench {
  protected:
    statistics_file() {
        the_world.uptime_s = 5 * 3600 + 17;
        record(1).powered_s = 60;
        record(1).energy_mws = 600000;
        configuration().enable = 1;
    }
    static constexpr const char* written = "0, 0, 0\n1, 60, 600000\n2, 0, 0\n3, 0, 0\n";

    static void switched_on() {
        nobody_else_is_running();
        statistics_file_when_enabled();
    }
    static void switched_off() {
        nobody_else_is_running();
        statistics_file_when_disabled();
    }
    static void cleared() {
        nobody_else_is_running();
        statistics_file_when_cleared();
    }
    static void save(std::uint32_t uptime_s) {
        nobody_else_is_running();
        save_statistics_file(uptime_s);
    }
};

TEST_F(statistics_file, a_save_writes_the_four_lines_and_remembers_the_hour_of_uptime) {
    save(7199);
    EXPECT_EQ(file(), written);
    EXPECT_EQ(configuration().saved_hour, 1U);
    save(7200);
    EXPECT_EQ(configuration().saved_hour, 2U);
}

TEST_F(statistics_file, a_save_that_fails_leaves_the_old_file_and_the_hour) {
    file() = "old";
    configuration().saved_hour = 3;
    the_world.files_cannot_be_written = true;
    save(7200);
    EXPECT_EQ(file(), "old");
    EXPECT_EQ(configuration().saved_hour, 3U);
}

TEST_F(statistics_file, a_save_is_due_when_statistics_are_on_and_the_last_minute_ended_in_another_hour) {
    for (const int enable : {0, 1, 2, 255}) {
        for (const std::uint32_t saved_hour : {0U, 1U, 2U, 1193046U}) {
            for (const std::uint32_t uptime_s : {0U, 59U, 3599U, 3600U, 7199U, 7200U, 0xFFFFFFFFU}) {
                const port_stats_cfg now{static_cast<std::uint8_t>(enable), 1, {}, saved_hour};
                EXPECT_EQ(hourly_save_is_due(now, uptime_s),
                          enable == 1 && uptime_s != 0 && uptime_s / 3600 != saved_hour)
                    << enable << ' ' << saved_hour << ' ' << uptime_s;
            }
        }
    }
}

TEST_F(statistics_file, the_first_switching_on_adds_the_files_totals_and_writes_nothing) {
    file() = "1, 40, 400000\n3, 5, 6\n";
    switched_on();
    EXPECT_EQ(record(1).powered_s, 100U);
    EXPECT_EQ(record(1).energy_mws, 1000000U);
    EXPECT_EQ(record(3).powered_s, 5U);
    EXPECT_EQ(configuration().file_restored, 1);
    EXPECT_EQ(configuration().saved_hour, 0U);
    EXPECT_EQ(file(), "1, 40, 400000\n3, 5, 6\n");
    EXPECT_EQ(saves(), 0U);
}

TEST_F(statistics_file, the_first_switching_on_without_a_file_counts_as_restored_and_writes_nothing) {
    switched_on();
    EXPECT_EQ(configuration().file_restored, 1);
    EXPECT_EQ(configuration().saved_hour, 0U);
    EXPECT_FALSE(file_exists());
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(record(1).powered_s, 60U);
}

TEST_F(statistics_file, an_empty_file_adds_nothing) {
    file() = "";
    switched_on();
    EXPECT_EQ(record(1).powered_s, 60U);
    EXPECT_EQ(configuration().file_restored, 1);
}

TEST_F(statistics_file, a_file_far_too_long_is_read_as_far_as_its_first_64_kilobytes) {
    std::string text;
    while (text.size() < 65536)
        text += "2, 1, 3" + std::string(24, ' ') + "\n";  // 32 bytes a line, 2048 lines
    file() = text + "3, 1, 1\n";
    switched_on();
    EXPECT_EQ(record(2).powered_s, 2048U);
    EXPECT_EQ(record(2).energy_mws, 3U * 2048U);
    EXPECT_EQ(record(3).powered_s, 0U);
}

TEST_F(statistics_file, switching_on_again_rewrites_the_file_from_the_records) {
    file() = "1, 40, 400000\n";
    configuration().file_restored = 1;
    switched_on();
    EXPECT_EQ(file(), written);
    EXPECT_EQ(configuration().saved_hour, 5U);
    EXPECT_EQ(record(1).powered_s, 60U);
}

TEST_F(statistics_file, switching_on_again_creates_a_missing_file) {
    configuration().file_restored = 1;
    switched_on();
    EXPECT_EQ(file(), written);
}

TEST_F(statistics_file, switching_on_again_leaves_the_hour_when_the_file_cannot_be_written) {
    configuration().file_restored = 1;
    configuration().saved_hour = 2;
    the_world.files_cannot_be_written = true;
    switched_on();
    EXPECT_FALSE(file_exists());
    EXPECT_EQ(configuration().saved_hour, 2U);
}

TEST_F(statistics_file, switching_off_removes_the_file) {
    file() = "old";
    switched_off();
    EXPECT_FALSE(file_exists());
    EXPECT_EQ(removals(), 1U);
}

TEST_F(statistics_file, switching_off_without_a_file_does_nothing) {
    switched_off();
    EXPECT_TRUE(the_world.story.empty());
}

TEST_F(statistics_file, clearing_makes_the_file_anew_and_leaves_the_hour) {
    file() = "old";
    configuration().saved_hour = 2;
    cleared();
    EXPECT_EQ(file(), written);
    EXPECT_EQ(configuration().saved_hour, 2U);
}

TEST_F(statistics_file, clearing_never_leaves_a_moment_without_a_file_while_it_can_be_written) {
    file() = "old";
    cleared();
    EXPECT_EQ(removals(), 0U);
    EXPECT_EQ(saves(), 1U);
}

TEST_F(statistics_file, clearing_without_a_file_creates_none) {
    cleared();
    EXPECT_FALSE(file_exists());
    EXPECT_EQ(saves(), 0U);
}

TEST_F(statistics_file, clearing_while_statistics_are_off_leaves_the_file) {
    for (const int enable : {0, 2, 255}) {
        configuration().enable = static_cast<std::uint8_t>(enable);
        file() = "old";
        cleared();
        EXPECT_EQ(file(), "old") << enable;
    }
}

TEST_F(statistics_file, clearing_removes_a_file_that_cannot_be_written_so_that_nothing_cleared_returns) {
    file() = "old";
    the_world.files_cannot_be_written = true;
    cleared();
    EXPECT_FALSE(file_exists());
}

TEST_F(statistics_file, clearing_on_a_full_medium_uses_the_room_of_the_old_file) {
    file() = "old";
    the_world.files_cannot_be_written = true;
    the_world.witness = [](const std::string& line) {
        if (line.starts_with("remove ")) the_world.files_cannot_be_written = false;
    };
    cleared();
    EXPECT_EQ(file(), written);
}

}  // namespace
