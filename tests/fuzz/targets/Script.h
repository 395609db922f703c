#pragma once
// What a client and an upstream say and do, made from the fuzzer's bytes: messages of a small grammar, now
// and then with a wrong byte, and where either side leaves.

#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <vector>

namespace ferrin::fuzz {

inline constexpr const char* relayKey = "sk-relay";
inline constexpr const char* clientSecret = "client-secret";
inline constexpr const char* upstreamSecret = "upstream-secret";

inline constexpr const char* portSign = "_PORT";  ///< stands for the relay's port

enum class Leaving { stays, closes, resets, stalls };

/// What one side sends over a connection.
struct Line {
  std::string bytes;
  std::size_t stop = 0;     ///< so many of them are sent
  std::size_t unasked = 0;  ///< at the end, sent together with what is before
  Leaving leaving = Leaving::stays;
};

struct Answer : Line {
  bool isEarly = false;  ///< does not wait for the request's body
};

struct Script {
  explicit Script(FuzzedDataProvider& choice);

  /// Whether nothing is wrong in it and nobody stalls or leaves unasked, so that there is nothing to wait
  /// for.
  bool isSmooth() const;

  Line client;
  std::vector<std::size_t> requestEnds;         ///< in client.bytes
  std::size_t tunnelBegin = std::string::npos;  ///< in client.bytes: from there on it waits for a status 101
  std::vector<Answer> answers;                  ///< in the order in which the requests arrive
  bool isPipelined = false;
  std::size_t pause = 0;      ///< in client.bytes: there it waits until nothing moves
  bool staysInPause = false;  ///< the upstream does not leave before that is over
  bool isSpoilt = false;      ///< a byte is wrong
  bool isRefused = false;     ///< something in it is wrong or may be over a limit
};

}  // namespace ferrin::fuzz
