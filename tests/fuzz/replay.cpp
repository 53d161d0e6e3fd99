// Gives every file of the folders and files that are named to a target, in the order of their names: the same inputs
// under any compiler, without a fuzzer. Ends with the number of inputs of each; none in one of them is a failure.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz.h"

// Mutators are the fuzzer's business; without it they change nothing.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t*, std::size_t size, std::size_t) {
    return size;
}

namespace {

void replay(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

std::vector<std::filesystem::path> inputs_of(const char* named) {
    std::vector<std::filesystem::path> inputs;
    if (std::filesystem::is_regular_file(named)) inputs.emplace_back(named);
    if (!std::filesystem::is_directory(named)) return inputs;
    for (const auto& entry : std::filesystem::directory_iterator(named)) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

}  // namespace

int main(int argc, char** argv) {
    const auto all_named = std::span(argv, static_cast<std::size_t>(argc)).subspan(1);
    std::vector<std::size_t> counts;
    for (const char* named : all_named) {
        const auto inputs = inputs_of(named);
        for (const auto& path : inputs) {
            // Said before, so that the last line names the input that failed.
            std::printf("%s\n", path.c_str());
            std::fflush(stdout);
            replay(path);
        }
        counts.push_back(inputs.size());
    }
    for (std::size_t i = 0; i < counts.size(); i++)
        std::printf("%zu inputs of %s\n", counts[i], all_named[i]);
    const bool has_none = std::find(counts.begin(), counts.end(), 0U) != counts.end();
    return counts.empty() || has_none ? EXIT_FAILURE : EXIT_SUCCESS;
}
