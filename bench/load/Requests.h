#pragma once

#include <cstdint>
#include <string>

namespace ferrin::bench {

/// Small requests at a fixed rate over `connections` to the proxy at `connect`, whose provider is on `listen`
/// (over TLS with `pemFile`): each millisecond its share is due, whether or not earlier ones were answered.
/// One that finds every connection taken is sent as soon as one is free. Conducted by eachRun(); the results
/// say how many were asked for, and from when they were due how long they took.
void requests(std::uint16_t listen, std::uint16_t connect, std::size_t connections, std::uint64_t rate,
              const std::string& pemFile);

/// One request after the other on one connection; a line of JSON.
void latency(std::uint16_t listen, std::uint16_t connect, std::uint64_t count);

}  // namespace ferrin::bench
