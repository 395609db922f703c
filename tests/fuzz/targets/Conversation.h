#pragma once
// The relay, in this process, between a client and an upstream that follow a script. Time stands still while
// anything moves, and is as far as the next time limit when nothing does.

#include <string>
#include <vector>

#include "tests/fuzz/targets/Script.h"

namespace ferrin::fuzz {

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
