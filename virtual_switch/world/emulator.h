// Programs that are built for another machine run on this one's virtual switch through an emulator: qemu's user mode,
// a command with its options in $VSWITCH_EMULATOR, such as "qemu-mipsel -L /usr/mipsel-linux-gnu". Without it nothing
// is different from what the kernel itself would do.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vswitch {

inline constexpr char emulator_variable[] = "VSWITCH_EMULATOR";

// What an emulator puts into the environment of the program that it runs, and does not take for itself.
inline constexpr char emulated_environment_variable[] = "QEMU_SET_ENV";

// Empty: none.
std::string named_emulator();

// True for an ELF file of another processor, word size or byte order than this program's own.
bool is_for_another_machine(const std::filesystem::path& program);

struct program_start {
    std::filesystem::path program;
    std::vector<std::string> arguments;  // the first is the name it is called by
};

// `program` as it stands or, when it is for another machine and an emulator is named, the emulator with it. The
// emulator is looked up as find_program does.
program_start start_of(const std::filesystem::path& program, std::vector<std::string> arguments,
                       const std::string& emulator, const std::string& search_path);

}  // namespace vswitch
