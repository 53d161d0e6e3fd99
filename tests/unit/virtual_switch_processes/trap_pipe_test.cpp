#include "server/trap_pipe.h"

#include <fstream>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "own_folder.h"

namespace {

using namespace vswitch;

class trap_pipe_test : public own_folder_test {
  protected:
    std::vector<std::size_t> sizes_after_writing(trap_pipe& traps, std::size_t count) {
        const unique_fd writer(open(path.c_str(), O_RDWR | O_NONBLOCK));
        const std::vector<char> bytes(count, 'x');
        EXPECT_EQ(write(writer.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(count));
        std::vector<std::size_t> sizes;
        traps.drain([&](std::span<const std::uint8_t> message) { sizes.push_back(message.size()); });
        return sizes;
    }

    std::filesystem::path path = folder / "pipe";
};

TEST_F(trap_pipe_test, messages_arrive_one_by_one_and_only_once) {
    trap_pipe traps;
    ASSERT_EQ(traps.open_at(path), "");
    EXPECT_THAT(sizes_after_writing(traps, 42), testing::ElementsAre(21, 21));
    EXPECT_THAT(sizes_after_writing(traps, 25), testing::ElementsAre(21, 4));
}

TEST_F(trap_pipe_test, a_pipe_that_it_made_goes_with_it) {
    {
        trap_pipe traps;
        ASSERT_EQ(traps.open_at(path), "");
        EXPECT_TRUE(std::filesystem::is_fifo(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(trap_pipe_test, a_pipe_that_was_there_is_used_and_stays) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    {
        trap_pipe traps;
        ASSERT_EQ(traps.open_at(path), "");
        EXPECT_THAT(sizes_after_writing(traps, 21), testing::ElementsAre(21));
    }
    EXPECT_TRUE(std::filesystem::is_fifo(path));
}

TEST_F(trap_pipe_test, a_file_in_its_place_is_refused_and_left_alone) {
    std::ofstream(path) << "precious";
    {
        trap_pipe traps;
        EXPECT_THAT(traps.open_at(path), testing::HasSubstr("cannot make the trap pipe"));
    }
    EXPECT_EQ(std::filesystem::file_size(path), 8u);
}

}  // namespace
