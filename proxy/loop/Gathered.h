#pragma once
// Small pieces copied into one block, where that costs less than handing them over one by one.

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <span>
#include <string_view>

#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

/// Pieces copied into one block, in order. Wiped when destroyed, as a request's head carries the key. There
/// is one block per thread, as -ftrivial-auto-var-init (cmake/Toolchain.cmake) would fill a local array with
/// zeros each time. So it lives through one write, and not over a wait.
class Gathered {
 public:
  /// One TLS record's.
  static constexpr std::size_t capacity = 16384;

  /// Whether there are several pieces to gather, of `most` bytes together.
  static bool suits(std::span<const std::string_view> pieces, std::size_t most) {
    std::size_t size = 0;
    std::size_t longest = 0;
    for (const std::string_view piece : pieces) {
      size += piece.size();
      longest = std::max(longest, piece.size());
    }
    return longest < size && size <= most;
  }

  /// `pieces` are of `capacity` bytes at most.
  explicit Gathered(std::span<const std::string_view> pieces) {
    assert(!used);
    used = true;
    for (const std::string_view piece : pieces) {
      assert(piece.size() <= capacity - size);
      std::memcpy(block.data() + size, piece.data(), piece.size());
      size += piece.size();
    }
  }
  Gathered(const Gathered&) = delete;
  Gathered& operator=(const Gathered&) = delete;
  ~Gathered() {
    wipe(block.data(), size);
    used = false;
  }

  std::string_view bytes() const { return {block.data(), size}; }

 private:
  static constinit inline thread_local std::array<char, capacity> block{};
  static constinit inline thread_local bool used = false;
  std::size_t size = 0;
};

}  // namespace ferrin::proxy
