#pragma once
// The little HTTP that the load tool speaks, over sockets that never block.

#include <cstdint>
#include <string>
#include <string_view>

namespace ferrin::bench {

/// Nanoseconds of the monotonic clock, the same in all processes of this machine.
std::uint64_t now();

/// A listening socket on 127.0.0.1. Throws std::system_error.
int listenOn(std::uint16_t port);
/// A connected socket to 127.0.0.1. Throws std::system_error.
int connectTo(std::uint16_t port);

/// What one end has received and not used yet.
class Input {
 public:
  void append(std::string_view received) { buffer.append(received); }
  std::string_view bytes() const { return std::string_view(buffer).substr(used); }
  void consume(std::size_t count);

 private:
  std::string buffer;
  std::size_t used = 0;
};

/// Sends all of it; the tool's peers always take what it sends. Throws std::system_error.
void sendAll(int socket, std::string_view bytes);

}  // namespace ferrin::bench
