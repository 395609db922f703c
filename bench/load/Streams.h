#pragma once

#include <cstdint>
#include <string>

namespace ferrin::bench {

/// `count` streams through the proxy at `connect`, whose provider is on `listen` (over TLS with `pemFile`),
/// each with an event every `interval` nanoseconds; the streams take turns, or get theirs `together`.
/// Conducted by eachRun(); the results say how many events came and how long each took. Throws
/// std::runtime_error when one is lost.
void streams(std::uint16_t listen, std::uint16_t connect, std::size_t count, std::uint64_t interval,
             bool together, const std::string& pemFile);

/// `count` connections to the proxy at `connect`, each with one request for `path`, held for `length`
/// nanoseconds; its provider is another process. A line of JSON says how many broke off.
void hold(std::uint16_t connect, std::size_t count, std::uint64_t length, const std::string& path);

/// A provider, until the process is killed. Each stream gets an event every 100 ms.
[[noreturn]] void serve(std::uint16_t listen, const std::string& pemFile);

}  // namespace ferrin::bench
