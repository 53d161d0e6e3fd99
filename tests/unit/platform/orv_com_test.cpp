#include "platform/orv_com.h"

#include <array>
#include <atomic>
#include <bitset>
#include <latch>
#include <thread>

#include <gtest/gtest.h>

namespace {

constexpr std::array<unsigned, 8> weight_of_bit{1, 2, 4, 8, 16, 32, 64, 128};

TEST(port_bitmap, setting_any_bit_of_any_byte_changes_that_bit_alone) {
    for (unsigned before = 0; before < 256; before++) {
        for (int bit = 0; bit < 8; bit++) {
            auto bitmap = static_cast<unsigned char>(before);
            utilBitmapSet(&bitmap, bit);
            std::bitset<8> expected(before);
            expected[static_cast<std::size_t>(bit)] = true;
            ASSERT_EQ(bitmap, expected.to_ulong()) << "bit " << bit << " of " << before;
        }
    }
}

TEST(port_bitmap, clearing_any_bit_of_any_byte_changes_that_bit_alone) {
    for (unsigned before = 0; before < 256; before++) {
        for (int bit = 0; bit < 8; bit++) {
            auto bitmap = static_cast<unsigned char>(before);
            utilBitmapClear(&bitmap, bit);
            std::bitset<8> expected(before);
            expected[static_cast<std::size_t>(bit)] = false;
            ASSERT_EQ(bitmap, expected.to_ulong()) << "bit " << bit << " of " << before;
        }
    }
}

TEST(port_bitmap, checking_any_bit_of_any_byte_gives_one_or_zero_and_changes_nothing) {
    for (unsigned before = 0; before < 256; before++) {
        for (int bit = 0; bit < 8; bit++) {
            const auto bitmap = static_cast<unsigned char>(before);
            const int expected = (before / weight_of_bit[static_cast<std::size_t>(bit)]) % 2 == 1 ? 1 : 0;
            ASSERT_EQ(utilBitmapCheck(&bitmap, bit), expected) << "bit " << bit << " of " << before;
            ASSERT_EQ(bitmap, before);
        }
    }
}

TEST(port_bitmap, bit_k_is_bit_k_modulo_8_of_byte_k_divided_by_8) {
    for (int bit = 0; bit < 32; bit++) {
        std::array<unsigned char, 4> bitmap{};
        utilBitmapSet(bitmap.data(), bit);
        for (std::size_t byte = 0; byte < bitmap.size(); byte++) {
            const bool here = byte == static_cast<std::size_t>(bit) / 8;
            ASSERT_EQ(bitmap[byte], here ? weight_of_bit[static_cast<std::size_t>(bit) % 8] : 0) << "bit " << bit;
        }
        for (int other = 0; other < 32; other++)
            ASSERT_EQ(utilBitmapCheck(bitmap.data(), other), other == bit);
        utilBitmapClear(bitmap.data(), bit);
        ASSERT_EQ(bitmap, (std::array<unsigned char, 4>{})) << "bit " << bit;
    }
}

TEST(port_bitmap, setting_all_and_clearing_all_reach_exactly_the_bytes_given) {
    for (int bytes = -1; bytes <= 4; bytes++) {
        std::array<unsigned char, 5> set{0x5A, 0x5A, 0x5A, 0x5A, 0x5A};
        std::array<unsigned char, 5> cleared = set;
        utilBitmapSetAll(set.data(), bytes);
        utilBitmapClearAll(cleared.data(), bytes);
        for (int i = 0; i < 5; i++) {
            ASSERT_EQ(set[static_cast<std::size_t>(i)], i < bytes ? 0xFF : 0x5A) << bytes << " bytes";
            ASSERT_EQ(cleared[static_cast<std::size_t>(i)], i < bytes ? 0x00 : 0x5A) << bytes << " bytes";
        }
    }
}

TEST(port_bitmap, a_negative_bit_is_ignored_and_reads_as_0) {
    std::array<unsigned char, 3> bitmap{0xFF, 0xA5, 0xFF};
    for (const int bit : {-1, -8, -9, -2147483647 - 1}) {
        utilBitmapSet(&bitmap[1], bit);
        utilBitmapClear(&bitmap[1], bit);
        EXPECT_EQ(utilBitmapCheck(&bitmap[1], bit), 0);
    }
    EXPECT_EQ(bitmap, (std::array<unsigned char, 3>{0xFF, 0xA5, 0xFF}));
}

TEST(port_bitmap, two_threads_change_neighbouring_bits_without_losing_a_change_while_a_third_reads) {
    constexpr int rounds = 50000;
    unsigned char bitmap = 0;
    std::atomic<int> lost{0};
    std::atomic<bool> done{false};
    std::latch both_started{2};
    const auto toggle = [&](int bit) {
        both_started.arrive_and_wait();
        for (int i = 0; i < rounds; i++) {
            utilBitmapSet(&bitmap, bit);
            if (utilBitmapCheck(&bitmap, bit) != 1) lost++;
            utilBitmapClear(&bitmap, bit);
            if (utilBitmapCheck(&bitmap, bit) != 0) lost++;
        }
        utilBitmapSet(&bitmap, bit);
    };
    std::atomic<int> stray{0};
    std::thread reader([&] {
        while (!done.load())
            stray += utilBitmapCheck(&bitmap, 7);
    });
    std::thread first(toggle, 0);
    std::thread second(toggle, 1);
    first.join();
    second.join();
    done = true;
    reader.join();

    EXPECT_EQ(lost, 0);
    EXPECT_EQ(stray, 0);
    EXPECT_EQ(bitmap, 3);
}

// A change each, so that the thread sanitizer, which forgets what lies far back, sees one that is no single operation.
TEST(port_bitmap, two_threads_without_a_lock_each_set_and_clear_a_bit) {
    unsigned char bitmap = 0b1100;
    std::latch both_started{2};
    const auto change = [&](int set, int cleared) {
        both_started.arrive_and_wait();
        utilBitmapSet(&bitmap, set);
        utilBitmapClear(&bitmap, cleared);
    };
    std::thread first(change, 0, 2);
    std::thread second(change, 1, 3);
    first.join();
    second.join();

    EXPECT_EQ(bitmap, 0b0011);
}

TEST(port_bitmap, setting_all_and_clearing_all_may_run_beside_a_reader) {
    std::array<unsigned char, 4> bitmap{};
    std::atomic<bool> done{false};
    std::atomic<int> seen{0};
    std::thread reader([&] {
        while (!done.load())
            seen += utilBitmapCheck(bitmap.data(), 17);
    });
    for (int i = 0; i < 10000; i++) {
        utilBitmapSetAll(bitmap.data(), 4);
        utilBitmapClearAll(bitmap.data(), 4);
    }
    done = true;
    reader.join();
    EXPECT_EQ(bitmap, (std::array<unsigned char, 4>{}));
}

}  // namespace
