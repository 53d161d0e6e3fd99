#include "poectl/verbs/full_screen.h"

#define NCURSES_NOMACROS
#include <curses.h>

#include <algorithm>
#include <cstdlib>

namespace poectl {

namespace {

SCREEN* screen = nullptr;
bool has_colour = false;

enum colour_pair : short { pair_good = 1, pair_attention, pair_bad };

void set_up_colours(bool wanted) {
    has_colour = wanted && has_colors() && start_color() == OK && use_default_colors() == OK;
    if (!has_colour) return;
    init_pair(pair_good, COLOR_GREEN, -1);
    init_pair(pair_attention, COLOR_YELLOW, -1);
    init_pair(pair_bad, COLOR_RED, -1);
}

attr_t attributes_of(tone shade) {
    const auto colour = [](colour_pair pair) { return has_colour ? static_cast<attr_t>(COLOR_PAIR(pair)) : A_NORMAL; };
    switch (shade) {
        case tone::heading:
            return A_BOLD;
        case tone::good:
            return colour(pair_good);
        case tone::attention:
            return colour(pair_attention);
        case tone::bad:
            return A_BOLD | colour(pair_bad);
        case tone::plain:
            break;
    }
    return A_NORMAL;
}

}  // namespace

std::string open_screen(bool colour) {
    const char* terminal = std::getenv("TERM");
    if (terminal == nullptr || *terminal == '\0') return "TERM names no terminal";
    screen = newterm(nullptr, stdout, stdin);
    if (screen == nullptr) return std::string("nothing is known about a terminal '") + terminal + "'";
    if (tigetstr("cup") == nullptr || tigetstr("cup") == reinterpret_cast<char*>(-1)) {
        close_screen();
        return std::string("a terminal '") + terminal + "' cannot move its cursor";
    }
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    curs_set(0);
    set_up_colours(colour);
    return {};
}

void close_screen() {
    if (screen == nullptr) return;
    endwin();
    delscreen(screen);
    screen = nullptr;
}

screen_size size_of_screen() {
    return {.lines = static_cast<std::size_t>(std::max(getmaxy(stdscr), 0)),
            .columns = static_cast<std::size_t>(std::max(getmaxx(stdscr), 0))};
}

void draw(const std::vector<screen_line>& lines) {
    werase(stdscr);
    int row = 0;
    for (const auto& line : lines) {
        wmove(stdscr, row++, 0);
        for (const auto& one : line) {
            wattrset(stdscr, static_cast<int>(attributes_of(one.shade)));
            waddnstr(stdscr, one.text.c_str(), static_cast<int>(one.text.size()));
        }
    }
    wattrset(stdscr, A_NORMAL);
    wrefresh(stdscr);
}

key wait_for_key(std::chrono::milliseconds time) {
    wtimeout(stdscr, static_cast<int>(time.count()));
    switch (wgetch(stdscr)) {
        case 'q':
        case 'Q':
            return key::quit;
        case '?':
        case 'h':
            return key::help;
        case KEY_UP:
        case 'k':
            return key::up;
        case KEY_DOWN:
        case 'j':
            return key::down;
        case '1':
            return key::port_1;
        case '2':
            return key::port_2;
        case '3':
            return key::port_3;
        case '4':
            return key::port_4;
        case KEY_RESIZE:
            return key::resized;
        default:
            return key::none;
    }
}

}  // namespace poectl
