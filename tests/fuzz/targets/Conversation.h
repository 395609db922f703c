#pragma once
// The relay, in this process, between a client and an upstream that follow a script. Time stands still while
// anything moves, and is as far as the next time limit when nothing does.

#include <memory>
#include <string>
#include <vector>

#include "proxy/Server.h"
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

/// What arrived of a request, and what was answered.
struct Arrival {
  std::string request;          ///< from its first byte on
  std::string answer;           ///< what of it was sent
  bool isAnswerClosed = false;  ///< the connection was closed properly after it
};

struct Outcome {
  std::string sent;  ///< by the client
  std::string received;
  bool isReset = false;
  bool isClosed = false;    ///< by the relay, and properly
  bool clientLeft = false;  ///< before the relay ended the connection or all was answered
  bool hasWaited = false;   ///< a time limit passed
  std::vector<Arrival> arrivals;
  std::string log;  ///< the lines of exchanges
};

/// Plays `script`; `choice` decides who goes on when, and by how much. Always the same relay.
Outcome play(Script& script, FuzzedDataProvider& choice);

}  // namespace ferrin::fuzz
