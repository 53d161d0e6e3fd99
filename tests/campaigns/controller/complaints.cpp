#include "complaints.h"

#include <cstdio>

namespace campaign {

std::function<std::string()> where_we_are;

namespace {
constexpr std::uint64_t most_shown = 20;
std::uint64_t complaints = 0;
}  // namespace

void complain(const std::string& about) {
    complaints++;
    if (complaints > most_shown) return;
    const std::string where = where_we_are ? where_we_are() : "";
    std::fprintf(stderr, "FAILED %s: %s\n", where.c_str(), about.c_str());
}

std::uint64_t complaint_count() {
    return complaints;
}

}  // namespace campaign
