#include "world/emulator.h"

#include <fstream>

#include <elf.h>

#include <gmock/gmock.h>

#include "own_folder.h"

namespace {

using namespace vswitch;
using std::filesystem::path;
using testing::ElementsAre;

constexpr std::size_t processor_at = EI_NIDENT + sizeof(Elf32_Half);

class emulated_programs : public own_folder_test {
  protected:
    // The head of this very program's file, with one byte changed.
    path program(const std::string& name, std::size_t changed_byte = 0, int change = 0) {
        std::string head(EI_NIDENT + 2 * sizeof(Elf32_Half), '\0');
        std::ifstream("/proc/self/exe", std::ios::binary).read(head.data(), static_cast<std::streamsize>(head.size()));
        head[changed_byte] = static_cast<char>(head[changed_byte] ^ change);
        return file(name, head);
    }

    path file(const std::string& name, const std::string& content) {
        const path made = folder / name;
        std::ofstream(made, std::ios::binary) << content;
        std::filesystem::permissions(made, std::filesystem::perms::owner_all);
        return made;
    }
};

TEST_F(emulated_programs, class_byte_order_and_processor_tell_another_machine) {
    EXPECT_FALSE(is_for_another_machine(program("own")));
    EXPECT_TRUE(is_for_another_machine(program("class", EI_CLASS, ELFCLASS32 ^ ELFCLASS64)));
    EXPECT_TRUE(is_for_another_machine(program("order", EI_DATA, ELFDATA2LSB ^ ELFDATA2MSB)));
    EXPECT_TRUE(is_for_another_machine(program("processor", processor_at, 1)));
    EXPECT_TRUE(is_for_another_machine(program("processor", processor_at + 1, 1)));
}

TEST_F(emulated_programs, what_is_no_program_of_any_machine_is_not_for_another_one) {
    EXPECT_FALSE(is_for_another_machine(file("script", "#!/bin/sh\nexec something that is long enough\n")));
    EXPECT_FALSE(is_for_another_machine(file("short", "\177ELF")));
    EXPECT_FALSE(is_for_another_machine(folder / "nothing"));
}

TEST_F(emulated_programs, a_program_of_this_machine_starts_as_it_stands) {
    const path own = program("own");
    const program_start start = start_of(own, {"poe_drv", "/tmp/status"}, "emulator -L /root", folder.native());
    EXPECT_EQ(start.program, own);
    EXPECT_THAT(start.arguments, ElementsAre("poe_drv", "/tmp/status"));
}

TEST_F(emulated_programs, without_an_emulator_every_program_starts_as_it_stands) {
    const path other = program("other", EI_DATA, ELFDATA2LSB ^ ELFDATA2MSB);
    EXPECT_EQ(start_of(other, {"poe_drv"}, "", folder.native()).program, other);
    EXPECT_EQ(start_of(other, {"poe_drv"}, "  ", folder.native()).program, other);
}

TEST_F(emulated_programs, the_emulator_starts_what_is_for_another_machine_by_its_own_name) {
    const path other = program("other", EI_DATA, ELFDATA2LSB ^ ELFDATA2MSB);
    const path emulator = file("emulator", "#!/bin/sh\n");
    const program_start start = start_of(other, {"poe_drv", "/tmp/status"}, "emulator  -L /root", folder.native());
    EXPECT_EQ(start.program, emulator);
    EXPECT_THAT(start.arguments,
                ElementsAre("emulator", "-L", "/root", "-0", "poe_drv", other.native(), "/tmp/status"));
}

TEST_F(emulated_programs, an_emulator_that_is_nowhere_starts_nothing) {
    const path other = program("other", EI_DATA, ELFDATA2LSB ^ ELFDATA2MSB);
    EXPECT_EQ(start_of(other, {"poe_drv"}, "emulator", folder.native()).program, "");
}

}  // namespace
