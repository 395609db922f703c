#pragma once
// The upstream of a measurement: small answers, large ones, and streams whose events carry the time they were
// sent.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/load/Http.h"
#include "bench/load/Loop.h"
#include "bench/load/Tls.h"

namespace ferrin::bench {

/// Serves /small, /bytes/N, /stream, /counts and /once on 127.0.0.1, with or without /v1 in front; /once ends
/// its connection. Over TLS where `pemFile` has a name.
class Provider {
 public:
  Provider(Loop& withLoop, std::uint16_t port, const std::string& pemFile);

  /// How many streams are open.
  std::size_t streams() const { return begun.size(); }
  /// Sends one event, stamped with the time, on one of the streams; they take turns by `index`.
  void sendEvent(std::size_t index);

  /// What has been asked so far, as fields of JSON: how far proxies keep connections and resume sessions.
  std::string counts() const;

 private:
  struct Connection {
    Wire wire;
    Input input;
    bool counted = false;
  };
  using Shared = std::shared_ptr<Connection>;

  void accept();
  void serve(const Shared& connection);
  void end(const Shared& connection);
  /// False when the connection is to end.
  bool answer(const Shared& connection, std::string_view path);
  void count(Connection& connection);

  Loop& loop;
  TlsContext tls;
  int listener;
  std::vector<Shared> begun;
  std::size_t connections = 0, resumed = 0, requests = 0;
};

}  // namespace ferrin::bench
