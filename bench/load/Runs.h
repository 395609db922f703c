#pragma once
// How ./bench/run conducts a load whose proxy's processor time is read before and after.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ferrin::bench {

constexpr std::uint64_t perMillisecond = 1'000'000;
constexpr std::uint64_t perSecond = 1'000'000'000;
/// How long anything may take to begin or to be answered.
constexpr std::uint64_t patience = 20 * perSecond;

/// "ready" on standard output, then for each line on standard input, a number of milliseconds, one call of
/// `run` with that time in nanoseconds, and its result as a line. Until the input ends.
void eachRun(const std::function<std::string(std::uint64_t)>& run);

/// Median and 99th percentile of `times` (nanoseconds), in microseconds, and their number, as fields of JSON.
std::string summary(std::vector<std::uint64_t>& times);

/// A GET request for `path` of the proxy at `port`.
std::string request(const std::string& path, std::uint16_t port);

}  // namespace ferrin::bench
