#pragma once
// The upstream of a measurement: small answers, large ones, and streams whose events carry the time they were
// sent.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/load/Http.h"
#include "bench/load/Loop.h"

namespace ferrin::bench {

/// Serves /small, /bytes/N and /stream on 127.0.0.1, with or without /v1 in front.
class Provider {
 public:
  Provider(Loop& withLoop, std::uint16_t port);

  /// The connections whose streams have begun, in that order.
  const std::vector<int>& streams() const { return begun; }
  /// Sends one event on `stream`, stamped with the time.
  static void sendEvent(int stream);

 private:
  void accept();
  void serve(int socket, Input& input);
  void end(int socket);
  void answer(int socket, std::string_view path);

  Loop& loop;
  int listener;
  std::vector<int> begun;
};

}  // namespace ferrin::bench
