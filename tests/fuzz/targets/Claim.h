#pragma once
// What all fuzz targets need: how they say that a property doesn't hold, and how long inputs are written.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
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

/// Inputs for limits without their length: "\xFF", the size of a unit and two bytes N stand for N more of the
/// unit before.
inline std::string unrolled(std::string_view text) {
  constexpr std::size_t signBytes = 4;
  constexpr std::size_t enough = 70'000;
  std::string out;
  const auto byte = [text](std::size_t at) {
    return static_cast<std::size_t>(static_cast<unsigned char>(text[at]));
  };
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isSign = byte(at) == 0xFF && at + signBytes <= text.size() && byte(at + 1) <= out.size();
    if (!isSign) {
      out.push_back(text[at]);
      continue;
    }
    const std::string unit = out.substr(out.size() - byte(at + 1));
    for (std::size_t left = byte(at + 2) * 256 + byte(at + 3); left > 0 && out.size() + unit.size() <= enough;
         --left)
      out.append(unit);
    at += signBytes - 1;
  }
  return out;
}

}  // namespace ferrin::fuzz
