// Values that threads share without a lock, on purpose: each access is whole, none is ordered after another.
// What must be seen together with something else belongs under a lock instead.
#pragma once

#include <atomic>
#include <cstdint>

template <typename value>
struct relaxed {
    static_assert(std::atomic<value>::is_always_lock_free);

    constexpr relaxed() = default;
    constexpr relaxed(value initial) : cell(initial) {}
    relaxed(const relaxed&) = delete;
    relaxed& operator=(const relaxed&) = delete;

    value get() const { return cell.load(std::memory_order_relaxed); }
    void set(value v) { cell.store(v, std::memory_order_relaxed); }

  private:
    std::atomic<value> cell{};
};

// A 64-bit count with one writer, in two halves so that machines without 64-bit atomics can keep it too. A reader may
// see the halves one carry apart.
struct counter64 {
    relaxed<std::uint32_t> low;
    relaxed<std::uint32_t> high;

    std::uint64_t get() const { return std::uint64_t{high.get()} << 32 | low.get(); }
    void increment() {
        low.set(low.get() + 1);
        if (low.get() == 0) high.set(high.get() + 1);
    }
    void clear() {
        low.set(0);
        high.set(0);
    }
};
