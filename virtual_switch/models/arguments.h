// The operator's words, taken apart: plain words in order, options by name, numbers strictly.
// What cannot be read is a usage_error with a sentence for the operator.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vswitch {

struct usage_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::uint64_t read_number(std::string_view word, std::uint64_t lowest, std::uint64_t highest, const std::string& what);
std::uint8_t read_hex_byte(std::string_view word, const std::string& what);
std::uint32_t read_milliwatts(std::string_view watts);
std::size_t read_port(std::string_view word);  // 1..4 becomes 0..3

class arguments {
  public:
    // flags stand alone, options take the next word; both are given with their dashes.
    arguments(const std::vector<std::string>& words, std::initializer_list<std::string_view> flags,
              std::initializer_list<std::string_view> options);

    std::size_t count() const { return plain_.size(); }
    const std::string& word(std::size_t at, const std::string& what) const;
    void expect_at_most(std::size_t count) const;

    bool has(std::string_view name) const { return given_.contains(name); }
    std::optional<std::string> option(std::string_view name) const;

  private:
    std::vector<std::string> plain_;
    std::map<std::string, std::string, std::less<>> given_;
};

}  // namespace vswitch
