// The load of a measurement. One process plays both ends where it can, so that both read one clock.
//
//   ferrin-bench-load serve    LISTEN [PEM]                       until it is killed
//   ferrin-bench-load forward  LISTEN CONNECT [ROOTS]             likewise: the least a proxy can cost
//   ferrin-bench-load requests LISTEN CONNECT CONNECTIONS RATE [PEM]
//   ferrin-bench-load streams  LISTEN CONNECT STREAMS MILLISECONDS [PEM]
//   ferrin-bench-load bursts   LISTEN CONNECT STREAMS MILLISECONDS [PEM]   all streams' events at once
//   ferrin-bench-load latency  LISTEN CONNECT REQUESTS
//   ferrin-bench-load hold     CONNECT CONNECTIONS SECONDS PATH   with a provider of its own elsewhere
//
// LISTEN is the provider's port, CONNECT the one that is asked: the proxy's, or the provider's for the direct
// path. With PEM, its certificate and key, the provider speaks TLS, and so does forward with ROOTS to verify
// it. Results are lines of JSON; times are in microseconds. requests, streams and bursts say "ready" and then
// run once for each line on their input, which is a number of milliseconds.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "bench/load/Forwarder.h"
#include "bench/load/Requests.h"
#include "bench/load/Runs.h"
#include "bench/load/Streams.h"

namespace {

using namespace ferrin::bench;

int run(const std::vector<std::string>& words) {
  const auto number = [&](std::size_t index) { return std::stoull(words.at(index)); };
  const auto port = [&](std::size_t index) { return static_cast<std::uint16_t>(number(index)); };
  const auto file = [&](std::size_t index) { return index < words.size() ? words[index] : std::string(); };
  const std::string mode = file(0);
  if (mode == "serve") serve(port(1), file(2));
  if (mode == "forward") forward(port(1), port(2), file(3));
  if (mode == "requests") {
    requests(port(1), port(2), number(3), number(4), file(5));
  } else if (mode == "streams" || mode == "bursts") {
    streams(port(1), port(2), number(3), number(4) * perMillisecond, mode == "bursts", file(5));
  } else if (mode == "latency") {
    latency(port(1), port(2), number(3));
  } else if (mode == "hold") {
    hold(port(1), number(2), number(3) * perSecond, words.at(4));
  } else {
    std::fprintf(stderr, "serve, forward, requests, streams, bursts, latency or hold\n");
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
