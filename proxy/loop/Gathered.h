#pragma once
// Several small pieces in one block, where copying them costs less than having the next layer collect them.

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

namespace ferrin::proxy {

/// What fits of the pieces, from the first one on. Wiped when it goes, as a request's head carries the key.
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
  ~Gathered() { OPENSSL_cleanse(block.data(), size); }

  std::string_view bytes() const { return {block.data(), size}; }

 private:
  std::array<char, capacity> block;
  std::size_t size = 0;
};

}  // namespace ferrin::proxy
