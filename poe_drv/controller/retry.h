// When a transaction with the controller asks again. Knows nothing but its arguments; any thread.
//
// An attempt is answered, refused (the answer carries a report key) or unheard (nothing usable came back). Ten unheard
// ones end the transaction without an answer; ten refusals make the last of them the answer.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

enum class attempt { answered, refused, unheard };

enum class verdict {
    accept,  // the last frame is the answer
    ask_again,
    give_up,
};

struct attempt_budgets {
    int fail_left = 10;  // unheard attempts until the transaction gives up
    int busy_left = 10;  // refusals until one is taken for the answer
};

constexpr verdict after_attempt(attempt_budgets& budgets, attempt outcome) {
    if (outcome == attempt::answered) return verdict::accept;
    if (outcome == attempt::refused) {
        budgets.busy_left--;
    } else {
        budgets.fail_left--;
    }
    if (budgets.fail_left <= 0) return verdict::give_up;
    return budgets.busy_left > 0 ? verdict::ask_again : verdict::accept;
}

// --- proofs ---

// The fewest or the most attempts over every course that a transaction can take without an answer, found from the
// ends of the budgets backwards.
template <typename choice>
consteval int attempts_without_answer(choice better) {
    constexpr attempt_budgets fresh;
    constexpr std::size_t size = std::max(fresh.fail_left, fresh.busy_left) + std::size_t{1};
    std::array<std::array<int, size>, size> attempts{};
    for (int fail = 1; fail < int{size}; fail++) {
        for (int busy = 1; busy < int{size}; busy++) {
            int found[2]{};
            int which = 0;
            for (const attempt outcome : {attempt::refused, attempt::unheard}) {
                attempt_budgets budgets{.fail_left = fail, .busy_left = busy};
                const bool more = after_attempt(budgets, outcome) == verdict::ask_again;
                const auto row = static_cast<std::size_t>(budgets.fail_left);
                const auto column = static_cast<std::size_t>(budgets.busy_left);
                found[which++] = 1 + (more ? attempts[row][column] : 0);
            }
            attempts[static_cast<std::size_t>(fail)][static_cast<std::size_t>(busy)] = better(found[0], found[1]);
        }
    }
    return attempts[std::size_t{fresh.fail_left}][std::size_t{fresh.busy_left}];
}

static_assert(attempts_without_answer([](int a, int b) { return std::max(a, b); }) == 19);
static_assert(attempts_without_answer([](int a, int b) { return std::min(a, b); }) == 10);
