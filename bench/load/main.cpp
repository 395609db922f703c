// The load of a measurement. One process plays both ends, so that both read one clock.
//
//   ferrin-bench-load serve   LISTEN                              until it is killed
//   ferrin-bench-load forward LISTEN CONNECT                      likewise: the least a proxy can cost
//   ferrin-bench-load streams LISTEN CONNECT STREAMS MILLISECONDS SECONDS
//   ferrin-bench-load latency LISTEN CONNECT REQUESTS
//   ferrin-bench-load hold    CONNECT CONNECTIONS SECONDS PATH     with a provider of its own elsewhere
//
// LISTEN is the provider's port, CONNECT the one that is asked: the proxy's, or the provider's for the direct
// path. The result is one line of JSON; times are in microseconds.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include "bench/load/Forwarder.h"
#include "bench/load/Http.h"
#include "bench/load/Loop.h"
#include "bench/load/Provider.h"

namespace {

using namespace ferrin::bench;

constexpr std::uint64_t perMillisecond = 1'000'000;
constexpr std::uint64_t perSecond = 1'000'000'000;
constexpr std::uint64_t patience = 20 * perSecond;

/// A request for `path`; for a stream of the sample provider's where the path is that of its answers.
std::string request(const std::string& path, std::uint16_t port) {
  const bool asks = path.ends_with("/responses");
  const std::string body = asks ? R"({"model":"m","input":"hello","stream":true})" : "";
  const std::string length = asks ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : "";
  return (asks ? "POST " : "GET ") + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
         "\r\nAccept: */*\r\nUser-Agent: ferrin-bench-load\r\n" + length + "\r\n" + body;
}

double percentile(std::vector<std::uint64_t>& times, double share) {
  if (times.empty()) return std::numeric_limits<double>::quiet_NaN();
  const auto at = times.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(times.size() - 1));
  std::nth_element(times.begin(), at, times.end());
  return static_cast<double>(*at) / 1000.0;
}

void report(std::vector<std::uint64_t>& times) {
  std::printf("{\"count\": %zu, \"p50\": %.2f, \"p99\": %.2f}\n", times.size(), percentile(times, 0.5),
              percentile(times, 0.99));
}

/// A client's streams; collects how long each event took.
class Readers {
 public:
  Readers(Loop& withLoop, std::uint16_t port, int count, const std::string& path) : loop(withLoop) {
    for (int index = 0; index < count; ++index) {
      const int socket = connectTo(port);
      loop.watch(socket, [this, socket, input = std::make_shared<Input>()] { read(socket, *input); });
      sendAll(socket, request(path, port));
    }
  }

  std::vector<std::uint64_t> delays;
  std::size_t broken = 0;

 private:
  void read(int socket, Input& input) {
    if (!input.fill(socket)) {
      ++broken;
      return loop.forget(socket);
    }
    const std::uint64_t time = now();
    constexpr std::string_view stamp = "\"at\":";
    for (;;) {
      const std::string_view bytes = input.bytes();
      const std::size_t end = bytes.find("}\n\n");
      if (end == std::string_view::npos) return;
      const std::size_t at = bytes.find(stamp);
      if (at < end) delays.push_back(time - std::stoull(std::string(bytes.substr(at + stamp.size(), 20))));
      input.consume(end + 3);
    }
  }

  Loop& loop;
};

void streams(std::uint16_t listen, std::uint16_t connect, int count, std::uint64_t milliseconds,
             std::uint64_t seconds) {
  Loop loop;
  Provider provider(loop, listen);
  Readers readers(loop, connect, count, "/v1/stream");
  const std::uint64_t limit = now() + patience;
  while (provider.streams().size() < static_cast<std::size_t>(count) && now() < limit)
    loop.turn(now() + perMillisecond);
  if (provider.streams().size() < static_cast<std::size_t>(count))
    throw std::runtime_error("not all streams began");
  const std::uint64_t gap = milliseconds * perMillisecond / static_cast<std::uint64_t>(count);
  std::printf("ready\n");
  std::fflush(stdout);
  std::uint64_t due = now();
  const std::uint64_t end = due + seconds * perSecond;
  for (std::size_t index = 0; due < end; ++index, due += gap) {
    while (now() < due) loop.turn(due);
    Provider::sendEvent(provider.streams().at(index % provider.streams().size()));
    loop.turn(0);
  }
  const std::uint64_t rest = now() + 200 * perMillisecond;
  while (now() < rest) loop.turn(rest);
  if (readers.broken > 0) throw std::runtime_error("a stream broke off");
  report(readers.delays);
}

void latency(std::uint16_t listen, std::uint16_t connect, int requests) {
  Loop loop;
  Provider provider(loop, listen);
  const int socket = connectTo(connect);
  const std::string asking = request("/v1/small", connect);
  std::vector<std::uint64_t> times;
  Input input;
  bool answered = false;
  loop.watch(socket, [&] {
    if (!input.fill(socket)) throw std::runtime_error("the connection ended");
    if (!input.bytes().ends_with("]}]}")) return;
    input.consume(input.bytes().size());
    answered = true;
  });
  for (int index = 0; index < requests; ++index) {
    const std::uint64_t start = now();
    answered = false;
    sendAll(socket, asking);
    while (!answered) loop.turn(start + patience);
    times.push_back(now() - start);
  }
  report(times);
}

void hold(std::uint16_t connect, int connections, std::uint64_t seconds, const std::string& path) {
  Loop loop;
  const Readers readers(loop, connect, connections, path);
  const std::uint64_t end = now() + seconds * perSecond;
  while (now() < end) loop.turn(end);
  std::printf("{\"broken\": %zu}\n", readers.broken);
}

[[noreturn]] void serve(std::uint16_t listen) {
  Loop loop;
  const Provider provider(loop, listen);
  std::printf("ready\n");
  std::fflush(stdout);
  for (;;) loop.turn(std::numeric_limits<std::uint64_t>::max() / 2);
}

int run(const std::vector<std::string>& words) {
  const auto number = [&](std::size_t index) { return std::stoi(words.at(index)); };
  const auto port = [&](std::size_t index) { return static_cast<std::uint16_t>(number(index)); };
  const std::string mode = words.empty() ? "" : words.front();
  if (mode == "serve") serve(port(1));
  if (mode == "forward") forward(port(1), port(2));
  if (mode == "streams") {
    streams(port(1), port(2), number(3), static_cast<std::uint64_t>(number(4)),
            static_cast<std::uint64_t>(number(5)));
  } else if (mode == "latency") {
    latency(port(1), port(2), number(3));
  } else if (mode == "hold") {
    hold(port(1), number(2), static_cast<std::uint64_t>(number(3)), words.at(4));
  } else {
    std::fprintf(stderr, "serve, forward, streams, latency or hold\n");
    return 2;
  }
  return 0;
}

}  // namespace

int main(int count, char** words) {
  try {
    return run({words + 1, words + count});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
