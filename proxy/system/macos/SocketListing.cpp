#include "proxy/system/macos/SocketListing.h"

#include <sys/sysctl.h>

#include <cerrno>
#include <new>

namespace ferrin::proxy {
namespace {

constexpr const char* name = "net.inet.tcp.pcblist_n";

/// Each try has more room, as sockets may come between the question for the size and that for the list.
std::vector<char> rawList() {
  for (std::size_t spare = 16384; spare < 1'000'000; spare *= 4) {
    std::size_t size = 0;
    if (sysctlbyname(name, nullptr, &size, nullptr, 0) != 0) return {};
    std::vector<char> bytes(size + spare);
    size = bytes.size();
    const int status = sysctlbyname(name, bytes.data(), &size, nullptr, 0);
    bytes.resize(status == 0 ? size : 0);
    if (status == 0 || errno != ENOMEM) return bytes;
  }
  return {};
}

}  // namespace

std::optional<SocketList> listSockets() noexcept {
  try {
    return parseSocketList(rawList());
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace ferrin::proxy
