#include "tests/fuzz/targets/Peer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace ferrin::fuzz {

/// Nothing is to be held back: time stands still.
Peer::Peer(int descriptor) : socket(descriptor) {
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool Peer::read() {
  std::array<char, 65'536> block;
  for (bool moved = false; !isClosed; moved = true) {
    const ssize_t count = recv(socket.get(), block.data(), block.size(), MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN) return moved;
    isClosed = count <= 0;
    isReset = count < 0;
    received.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (isClosed) return true;
  }
  return false;
}

bool Peer::follow(const Line& line, std::size_t most, std::size_t stop, bool mayLeave) {
  stop = std::min(stop, line.stop);
  if (sent < stop) {
    std::size_t count = std::min(most, stop - sent);
    if (sent + count >= line.bytes.size() - line.unasked) count = stop - sent;
    const ssize_t taken = send(socket.get(), line.bytes.data() + sent, count, MSG_DONTWAIT | MSG_NOSIGNAL);
    sent += taken > 0 ? static_cast<std::size_t>(taken) : 0;
    return taken > 0;
  }
  if (!mayLeave || sent < line.stop || line.leaving == Leaving::stays || line.leaving == Leaving::stalls)
    return false;
  const linger abort{1, 0};
  if (line.leaving == Leaving::resets) setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  socket.reset();
  hasLeft = true;
  return true;
}

}  // namespace ferrin::fuzz
