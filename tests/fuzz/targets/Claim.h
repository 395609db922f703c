#pragma once
// How a fuzz target says that a property doesn't hold.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace ferrin::fuzz {

/// Ends the process, so that the fuzzer keeps the input, unless `holds`.
inline void claim(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace ferrin::fuzz
