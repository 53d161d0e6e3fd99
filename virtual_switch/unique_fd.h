// A descriptor that is closed with its owner. Not shared between threads.
#pragma once

#include <utility>

#include <unistd.h>

namespace vswitch {

class unique_fd {
  public:
    unique_fd() = default;
    explicit unique_fd(int descriptor) : descriptor_(descriptor) {}
    unique_fd(unique_fd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    unique_fd& operator=(unique_fd&& other) noexcept {
        reset(std::exchange(other.descriptor_, -1));
        return *this;
    }
    ~unique_fd() { reset(); }

    int get() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }
    int release() { return std::exchange(descriptor_, -1); }
    void reset(int descriptor = -1) {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = descriptor;
    }

  private:
    int descriptor_ = -1;
};

}  // namespace vswitch
