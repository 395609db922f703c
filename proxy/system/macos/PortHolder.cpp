#include "proxy/system/PortHolder.h"

#include <libproc.h>

#include <array>

#include "proxy/system/macos/SocketListing.h"

namespace ferrin::proxy {

std::string holderOfPort(std::uint16_t port) {
  const auto list = listSockets();
  const pid_t process = list ? listenerOn(*list, port) : 0;
  if (process == 0) return "";
  std::array<char, 256> text{};
  const int size = proc_name(process, text.data(), text.size());
  const std::string name(text.data(), static_cast<std::size_t>(size > 0 ? size : 0));
  return (name.empty() ? "a program" : name) + " (process " + std::to_string(process) + ")";
}

}  // namespace ferrin::proxy
