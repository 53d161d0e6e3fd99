#include "controller/retry.h"

#include <gtest/gtest.h>

namespace {

// The rule in other words: a transaction is over at the tenth silence or the tenth refusal.
verdict by_the_count(int unheard, int refused) {
    if (unheard == 10) return verdict::give_up;
    if (refused == 10) return verdict::accept;
    return verdict::ask_again;
}

struct walk {
    int courses = 0;
    int longest = 0;
    int shortest = 100;

    // Every course of unheard and refused attempts from here to its end.
    void from(attempt_budgets budgets, int unheard, int refused) {
        {
            attempt_budgets spent = budgets;
            ASSERT_EQ(after_attempt(spent, attempt::answered), verdict::accept);
            ASSERT_EQ(spent.fail_left, budgets.fail_left);
            ASSERT_EQ(spent.busy_left, budgets.busy_left);
        }
        for (const attempt outcome : {attempt::unheard, attempt::refused}) {
            attempt_budgets spent = budgets;
            const int u = unheard + (outcome == attempt::unheard ? 1 : 0);
            const int r = refused + (outcome == attempt::refused ? 1 : 0);
            const verdict found = after_attempt(spent, outcome);
            ASSERT_EQ(found, by_the_count(u, r)) << u << " unheard, " << r << " refused";
            ASSERT_EQ(spent.fail_left, 10 - u);
            ASSERT_EQ(spent.busy_left, 10 - r);
            if (found == verdict::ask_again) {
                from(spent, u, r);
            } else {
                courses++;
                longest = std::max(longest, u + r);
                shortest = std::min(shortest, u + r);
            }
        }
    }
};

TEST(retry, every_course_ends_at_the_tenth_silence_or_the_tenth_refusal) {
    walk all;
    all.from({}, 0, 0);

    EXPECT_EQ(all.courses, 184756);  // the ways to be the first to ten: 20 over 10
    EXPECT_EQ(all.longest, 19);
    EXPECT_EQ(all.shortest, 10);
}

TEST(retry, a_fresh_transaction_has_ten_of_each) {
    const attempt_budgets fresh;
    EXPECT_EQ(fresh.fail_left, 10);
    EXPECT_EQ(fresh.busy_left, 10);
}

}  // namespace
