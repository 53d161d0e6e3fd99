#include "command/ready.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace vswitch {

void say_ready(int descriptor, const std::string& what) {
    const std::string line = "virtual switch ready: " + what + "\n";
    const bool said = write(descriptor >= 0 ? descriptor : STDOUT_FILENO, line.data(), line.size()) >= 0;
    if (descriptor >= 0) close(descriptor);
    if (!said) std::fprintf(stderr, "vswitch: nobody hears that it is ready: %s\n", std::strerror(errno));
}

}  // namespace vswitch
