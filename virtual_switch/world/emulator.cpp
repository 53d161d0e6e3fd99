#include "world/emulator.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>

#include <elf.h>

#include "world/programs.h"

namespace vswitch {
namespace {

// Class, byte order and processor of an ELF file, the processor's two bytes as they stand in it.
using machine_mark = std::array<char, 4>;

std::optional<machine_mark> mark_of(const std::filesystem::path& program) {
    std::array<char, EI_NIDENT + 2 * sizeof(Elf32_Half)> head{};  // the same in either class, up to the processor
    std::ifstream file(program, std::ios::binary);
    if (!file.read(head.data(), head.size()) || !std::string_view(head.data(), SELFMAG).starts_with(ELFMAG)) {
        return std::nullopt;
    }
    constexpr std::size_t processor = EI_NIDENT + sizeof(Elf32_Half);
    return machine_mark{head[EI_CLASS], head[EI_DATA], head[processor], head[processor + 1]};
}

}  // namespace

std::string named_emulator() {
    const char* words = std::getenv(emulator_variable);
    return words != nullptr ? words : "";
}

bool is_for_another_machine(const std::filesystem::path& program) {
    const std::optional<machine_mark> mark = mark_of(program);
    return mark && mark != mark_of("/proc/self/exe");
}

program_start start_of(const std::filesystem::path& program, std::vector<std::string> arguments,
                       const std::string& emulator, const std::string& search_path) {
    std::istringstream text(emulator);
    std::vector<std::string> words;
    for (std::string word; text >> word;)
        words.push_back(word);
    if (words.empty() || !is_for_another_machine(program)) return {program, std::move(arguments)};
    program_start start{.program = find_program(words.front(), own_folder(), search_path), .arguments = words};
    start.arguments.insert(start.arguments.end(), {"-0", arguments.front(), program.native()});
    start.arguments.insert(start.arguments.end(), arguments.begin() + 1, arguments.end());
    return start;
}

}  // namespace vswitch
