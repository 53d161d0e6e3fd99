#include "world/programs.h"

#include <fstream>

#include <gmock/gmock.h>

#include "own_folder.h"
#include "server/json_text.h"
#include "wire.h"

namespace {

using namespace vswitch;
using std::filesystem::path;
using testing::ElementsAre;

class program_search : public own_folder_test {
  protected:
    path install(const path& name) {
        const path file = folder / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "#!/bin/sh\n";
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
        return file;
    }

    path own = folder / "prefix/bin";
};

TEST_F(program_search, the_daemon_installed_with_the_command_comes_before_the_search_path) {
    const path daemon = install("prefix/sbin/poe_drv");
    install("elsewhere/poe_drv");
    EXPECT_EQ(find_program("poe_drv", own, (folder / "elsewhere").native()), daemon);
}

TEST_F(program_search, the_search_path_is_looked_through_in_order) {
    const path first = install("first/poe_drv");
    install("second/poe_drv");
    const std::string search =
        (folder / "nothing").native() + "::" + first.parent_path().native() + ":" + (folder / "second").native();
    EXPECT_EQ(find_program("poe_drv", own, search), first);
}

TEST_F(program_search, a_name_with_a_slash_is_a_path) {
    EXPECT_EQ(find_program("/some/where/../poe_drv", own, ""), "/some/poe_drv");
}

TEST_F(program_search, what_cannot_be_run_is_not_found) {
    std::filesystem::permissions(install("first/poe_drv"), std::filesystem::perms::owner_read);
    std::filesystem::create_directories(folder / "second/poe_drv");
    EXPECT_EQ(find_program("poe_drv", own, (folder / "second").native()), "");
}

TEST_F(program_search, the_preload_library_is_in_lib_of_an_installed_tree_or_beside_the_command) {
    EXPECT_EQ(find_preload_library(own), "");
    const path beside = install("prefix/bin/libvswitch_preload.so");
    EXPECT_EQ(find_preload_library(own), beside);
    const path installed = install("prefix/lib/libvswitch_preload.so");
    EXPECT_EQ(find_preload_library(own), installed);
}

TEST(attached_environment, the_callers_own_preloads_come_first_and_the_rest_is_untouched) {
    const char* const environment[] = {
        "HOME=/root", "LD_PRELOAD=/lib/first.so", "VSWITCH_SPEED=3", "VSWITCH_DEVICES=/old", "EMPTY=", nullptr};
    EXPECT_THAT(attached_environment(environment, "/lib/ours.so", "/dev", 20, false),
                ElementsAre("HOME=/root", "EMPTY=", "LD_PRELOAD=/lib/first.so:/lib/ours.so", "VSWITCH_DEVICES=/dev",
                            "VSWITCH_SPEED=20"));
}

TEST(attached_environment, preloads_for_an_emulated_program_are_not_the_emulators_own) {
    const char* const environment[] = {"LD_PRELOAD=/lib/host.so", "QEMU_SET_ENV=LD_PRELOAD=/lib/first.so",
                                       "VSWITCH_EMULATOR=qemu-mipsel", nullptr};
    EXPECT_THAT(attached_environment(environment, "/lib/ours.so", "/dev", 20, true),
                ElementsAre("LD_PRELOAD=/lib/host.so", "QEMU_SET_ENV=LD_PRELOAD=/lib/first.so:/lib/ours.so",
                            "VSWITCH_DEVICES=/dev", "VSWITCH_SPEED=20"));
}

TEST(json_text, strings_are_quoted_so_that_any_reader_takes_them) {
    EXPECT_EQ(json_string("a \"b\" \\ \n \x01"), R"("a \"b\" \\ \u000a \u0001")");
    EXPECT_EQ(json_number(7), "7");
    EXPECT_EQ(json_number(std::nullopt), "null");
}

TEST(wire_order, link_words_survive_the_way_there_and_back) {
    std::uint8_t record[link_record_size];
    for (std::size_t i = 0; i < sizeof record; i++)
        record[i] = static_cast<std::uint8_t>(i);
    const std::vector<std::uint8_t> before(record, record + sizeof record);
    wire_order_link_words(record);
    wire_order_link_words(record);
    EXPECT_EQ(before, std::vector<std::uint8_t>(record, record + sizeof record));
}

}  // namespace
