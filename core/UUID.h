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
  /// A random one (RFC 4122, version 4) from the system's generator. Throws std::runtime_error when that
  /// fails.
  static UUID random();
  /// Accepts the canonical form only: 36 characters with hyphens, upper or lower case.
  static std::optional<UUID> parse(std::string_view text);

  /// The canonical form, in upper case.
  std::string text() const;

  auto operator<=>(const UUID&) const = default;

  std::array<std::uint8_t, 16> bytes{};
};

}  // namespace ferrin::core
