#pragma once

#include <string>

#include "proxy/system/FileDescriptor.h"
#include "tests/fuzz/targets/Script.h"

namespace ferrin::fuzz {

/// One end of a connection, as the script's side sees it.
struct Peer {
  explicit Peer(int descriptor);

  /// Takes what has arrived. True if that was anything, or the end.
  bool read();
  /// Goes on with `line`, by at most `most` bytes and up to `stop`; leaves where it says so and `mayLeave`.
  /// True if that did anything.
  bool follow(const Line& line, std::size_t most, std::size_t stop, bool mayLeave);

  proxy::FileDescriptor socket;
  std::string received;
  std::size_t sent = 0;   ///< of the line that is followed
  bool isClosed = false;  ///< the other end sends no more
  bool isReset = false;   ///< and that was no proper end
  bool hasLeft = false;
};

}  // namespace ferrin::fuzz
