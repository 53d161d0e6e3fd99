#include "poectl/verbs/full_screen.h"

namespace poectl {

std::string open_screen(bool) {
    return "this poectl was built without ncurses";
}

void close_screen() {}

screen_size size_of_screen() {
    return {};
}

void draw(const std::vector<screen_line>&) {}

key wait_for_key(std::chrono::milliseconds) {
    return key::quit;
}

}  // namespace poectl
