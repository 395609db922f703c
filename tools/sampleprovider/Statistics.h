#pragma once
// What happened to the requests so far, for GET /stats. Requests for it are not counted.

#include <cstdint>
#include <string>

namespace ferrin::sampleprovider {

/// How the sending of a reply came to its end.
enum class Sent { all, clientGone, brokenOff };

struct Statistics {
  void countRequest(bool isFirstOnItsConnection) {
    if (isFirstOnItsConnection) ++connections;
    ++requests;
    ++inFlight;
  }
  void countEnd(Sent sent) {
    --inFlight;
    ++(sent == Sent::all ? answered : sent == Sent::clientGone ? aborted : brokenOff);
  }

  /// Connections that brought at least one request.
  std::uint64_t connections = 0;
  std::uint64_t requests = 0;
  /// Requests whose reply is not finished.
  std::uint64_t inFlight = 0;
  /// Replies sent to their end.
  std::uint64_t answered = 0;
  /// Requests whose client left before the reply's end.
  std::uint64_t aborted = 0;
  /// Replies that were broken off as the command line asked.
  std::uint64_t brokenOff = 0;
};

inline std::string toJson(const Statistics& statistics) {
  const auto member = [](const char* name, std::uint64_t value) {
    return '"' + std::string(name) + "\":" + std::to_string(value);
  };
  return '{' + member("connections", statistics.connections) + ',' + member("requests", statistics.requests) +
         ',' + member("in_flight", statistics.inFlight) + ',' + member("answered", statistics.answered) +
         ',' + member("aborted", statistics.aborted) + ',' + member("broken_off", statistics.brokenOff) + '}';
}

}  // namespace ferrin::sampleprovider
