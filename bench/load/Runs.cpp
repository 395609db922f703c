#include "bench/load/Runs.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>

namespace ferrin::bench {
namespace {

double percentile(std::vector<std::uint64_t>& times, double share) {
  if (times.empty()) return 0;
  const auto at = times.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(times.size() - 1));
  std::nth_element(times.begin(), at, times.end());
  return static_cast<double>(*at) / 1000.0;
}

}  // namespace

void eachRun(const std::function<std::string(std::uint64_t)>& run) {
  std::cout << "ready" << std::endl;
  for (std::uint64_t milliseconds = 0; std::cin >> milliseconds;)
    std::cout << run(milliseconds * perMillisecond) << std::endl;
}

std::string summary(std::vector<std::uint64_t>& times) {
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), "\"count\": %zu, \"p50\": %.2f, \"p99\": %.2f", times.size(),
                percentile(times, 0.5), percentile(times, 0.99));
  return text.data();
}

std::string request(const std::string& path, std::uint16_t port) {
  return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
         "\r\nAccept: */*\r\nUser-Agent: ferrin-bench-load\r\n\r\n";
}

}  // namespace ferrin::bench
