#pragma once
// Small pieces copied into one block, where that costs less than handing them over one by one.

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

/// As many bytes of the pieces as fit, in order. Wiped when destroyed, as a request's head carries the key.
/// All of a thread share one block, so there is one at a time: the build initialises all variables, and would
/// fill an array of each object's own with zeros first.
class Gathered {
 public:
  /// One TLS record's.
  static constexpr std::size_t capacity = 16384;

  explicit Gathered(std::span<const std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
      const std::size_t count = std::min(piece.size(), capacity - size);
      std::memcpy(block.data() + size, piece.data(), count);
      size += count;
    }
  }
  Gathered(const Gathered&) = delete;
  Gathered& operator=(const Gathered&) = delete;
  ~Gathered() { wipe(block.data(), size); }

  std::string_view bytes() const { return {block.data(), size}; }

 private:
  static constinit inline thread_local std::array<char, capacity> block{};
  std::size_t size = 0;
};

}  // namespace ferrin::proxy
