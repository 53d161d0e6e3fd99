// Unix sockets by path, all close-on-exec. Errors are left in errno, and come back as a closed descriptor.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/un.h>

#include "unique_fd.h"

namespace vswitch {

// Null when the path does not fit an address.
std::optional<sockaddr_un> unix_address(const std::filesystem::path& path);

// A socket of `type` that listens at `path`, in the place of whatever socket stood there, for its owner alone.
unique_fd listen_at(const std::filesystem::path& path, int type);

unique_fd connect_to(const std::filesystem::path& path, int type);

unique_fd accept_from(const unique_fd& listener, int flags);

// Sends all of `text`, the descriptors with its first byte. False when the other side does not take it.
bool send_all(int socket, const std::string& text, const std::vector<int>& descriptors = {});

// Receives until the other side has finished. Descriptors that came along are appended to `descriptors`. False on an
// error.
bool receive_all(int socket, std::string& text, std::vector<unique_fd>& descriptors);

}  // namespace vswitch
