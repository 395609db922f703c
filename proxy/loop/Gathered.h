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
template <std::size_t capacity>
class Gathered {
 public:
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
  std::array<char, capacity> block;
  std::size_t size = 0;
};

}  // namespace ferrin::proxy
