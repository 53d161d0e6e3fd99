// What happens around the daemon meanwhile: devices are plugged, unplugged, loaded and broken, links go down and come
// back, all through the virtual switch's control socket. Paced by the clients' datagrams, so that a run is the same run
// on any machine.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace campaign {

class pace {
  public:
    void went_on(std::size_t datagrams);
    void end();
    // Waits until so many datagrams went; false when there will be no more.
    bool reached(std::size_t datagrams);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t datagrams_ = 0;
    bool is_over_ = false;
};

struct surroundings_result {
    std::size_t changes = 0;
    std::string failure;
};

surroundings_result change_surroundings(const std::string& control, std::uint64_t seed, pace& clients,
                                        std::size_t datagrams_a_change);

}  // namespace campaign
