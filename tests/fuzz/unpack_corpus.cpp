#include "unpack_corpus.h"

#include <charconv>
#include <fstream>
#include <string>

#include "fuzz.h"

namespace fuzz {

namespace {

constexpr const char* hex_digits = "0123456789abcdef";
constexpr const char* letters_of_names = "abcdefghijklmnopqrstuvwxyz0123456789_";

struct corpus_line {
    std::string name;
    std::string digits;
};

corpus_line parse(const std::string& line, std::size_t number) {
    const std::size_t space = line.find(' ');
    if (space != std::string::npos) return {line.substr(0, space), line.substr(space + 1)};
    std::string count = std::to_string(number);
    count.insert(0, count.size() < 4 ? 4 - count.size() : 0, '0');
    return {"line_" + count, line};
}

// Why this is no line that can follow one with the digits of `before`; none when it is.
const char* fault_of(const corpus_line& line, const std::string& before) {
    if (line.name.empty() || line.name.find_first_not_of(letters_of_names) != std::string::npos)
        return "a name is made of a-z, 0-9 and _";
    if (line.digits.empty()) return "no input";
    if (line.digits.find_first_not_of(hex_digits) != std::string::npos) return "not lower-case hex";
    if (line.digits.size() % 2 != 0) return "half a byte";
    if (line.digits == before) return "the same input twice";
    if (line.digits < before) return "out of order";
    return nullptr;
}

std::string bytes_of(const std::string& digits) {
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        std::uint8_t byte = 0;
        std::from_chars(&digits[at], &digits[at] + 2, byte, 16);
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

}  // namespace

void unpack_corpus(const std::filesystem::path& text, const std::filesystem::path& below) {
    const std::filesystem::path folder = below / text.stem();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::ifstream lines(text);
    must(lines.is_open(), "a corpus can be read");
    std::string said;
    std::string before;
    for (std::size_t number = 1; std::getline(lines, said); number++) {
        if (said.starts_with('#')) continue;
        const corpus_line line = parse(said, number);
        const char* fault = fault_of(line, before);
        if (fault == nullptr && std::filesystem::exists(folder / line.name)) fault = "the same name twice";
        if (fault != nullptr) {
            std::fprintf(stderr, "%s:%zu: %s\n", text.c_str(), number, fault);
            std::exit(EXIT_FAILURE);
        }
        std::ofstream input(folder / line.name, std::ios::binary);
        input << bytes_of(line.digits) << std::flush;
        must(input.good(), "an input is written");
        before = line.digits;
    }
}

}  // namespace fuzz
