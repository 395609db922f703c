#pragma once
// The relay's log: one line per exchange and per trouble, on standard output.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/LogFile.h"
#include "proxy/loop/EventLoop.h"

namespace ferrin::proxy {

/// How a request ended.
enum class Ending {
  complete,
  truncated,   ///< the response was begun and then broken off; the client's connection is reset
  clientGone,  ///< the client left before the end
  refused,     ///< the relay's own error was the response, or was to be
  stopped,     ///< the relay was stopped before the end
};
/// Where its upstream connection came from.
enum class UpstreamUse {
  none,
  fresh,  ///< newly opened, or that was tried
  reused,
};

/// One request as the log shows it, forwarded or refused: no query, no header, no body, no key. The relay's
/// report on its health has no line.
struct ExchangeRecord {
  std::string method;
  std::string path;           ///< without the query
  int status = 0;             ///< 0 when no response was begun
  std::uint64_t bytesIn = 0;  ///< content of the request read from the client: no framing, still compressed
  std::uint64_t bytesOut =
      0;  ///< content of the response read from the upstream, whether or not the client took it
  std::optional<std::chrono::milliseconds> first;  ///< until the response's first byte went out
  std::chrono::milliseconds total{};
  UpstreamUse upstream = UpstreamUse::none;
  std::string_view via;  ///< the proxy towards the upstream, empty for none; lives as long as the record
  Ending ending = Ending::complete;
  std::string cause;  ///< why it failed, if it did, and what to do about it
};

/// Appends the line, without its time stamp and line feed. Bytes of the path that are not printable ASCII
/// come out as \xNN.
void append(std::string& out, const ExchangeRecord& record);

/// Writes time stamps such as "2026-11-21T01:02:03.456Z". Formats the date only once per second.
class TimeStamps {
 public:
  void append(std::string& out, std::chrono::system_clock::time_point when);

 private:
  std::chrono::sys_seconds second = std::chrono::sys_seconds::min();
  std::string date;  ///< of `second`
};

/// Collects lines, so that many cost one write: those of exchanges for `delay` at most, others until the end
/// of the turn. What is left is written when it is destroyed. A line that there is no memory for is dropped;
/// memory for the usual ones is reserved.
class AccessLog : private DeferredCall {
 public:
  /// Writes to `descriptor`, which stays the caller's.
  AccessLog(EventLoop& home, TimerQueue& delay, int descriptor);
  ~AccessLog() override { flush(); }

  void exchange(const ExchangeRecord& record) noexcept;
  /// Something that is not an exchange.
  void note(std::string_view text) noexcept;
  /// A line without a time stamp, written at once.
  void announce(std::string_view line);

 private:
  template <typename Append>
  void addLine(Append append) noexcept;
  void flush() noexcept;
  void run() noexcept override { flush(); }

  EventLoop& loop;
  TimerQueue& delay;
  Timer due;
  LogFile file;
  TimeStamps stamps;
  std::string pending;
};

}  // namespace ferrin::proxy
