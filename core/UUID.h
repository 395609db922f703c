#pragma once
// 128-bit identities that travel as text.

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ferrin::core {

struct UUID {
  /// A new one, from the system's random numbers. Throws std::runtime_error when there are none to be had.
  static UUID random();
  /// Takes the canonical form alone, 36 characters with hyphens, in either case of letters; nothing for any
  /// other text.
  static std::optional<UUID> parse(std::string_view text);

  /// The canonical form, in upper case.
  std::string text() const;

  auto operator<=>(const UUID&) const = default;

  std::array<std::uint8_t, 16> bytes{};
};

}  // namespace ferrin::core
