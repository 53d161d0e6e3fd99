// Whether the daemon serves its clients: one harmless question, asked again until the daemon takes it, then waited for.
// Lives on the event loop's thread.
#pragma once

#include <filesystem>
#include <functional>

#include "server/event_loop.h"
#include "unique_fd.h"

namespace vswitch {

class readiness {
  public:
    readiness(event_loop& loop, const std::filesystem::path& tmp);
    ~readiness() { stop_asking(); }
    readiness(const readiness&) = delete;
    readiness& operator=(const readiness&) = delete;

    void ask(std::function<void()> answered);  // of a daemon that has just been started
    void stop_asking();
    bool is_answered() const { return is_answered_; }

  private:
    void try_once(unsigned long question);

    event_loop& loop_;
    std::filesystem::path daemon_;
    std::filesystem::path own_;
    unique_fd socket_;
    unsigned long question_ = 0;  // tells a timer of this question from one of an earlier one
    bool is_answered_ = false;
    std::function<void()> answered_;
};

}  // namespace vswitch
