#pragma once
// Memory for texts that hold the key: overwritten before it is given back, so that no copy is left behind.

#include <cstddef>
#include <memory>
#include <string>

namespace ferrin::proxy {

/// Overwrites `size` bytes with zeros, in a way that the compiler does not leave out.
void wipe(void* memory, std::size_t size) noexcept;

/// Wipes each block before it is freed. A container that outgrows its block leaves nothing in the old one.
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <typename Other>
  WipingAllocator(const WipingAllocator<Other>&) noexcept {}

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* block, std::size_t count) noexcept {
    wipe(block, count * sizeof(T));
    std::allocator<T>().deallocate(block, count);
  }
  bool operator==(const WipingAllocator&) const = default;
};

/// A text that is wiped when it is destroyed or cleared, the few bytes that a string keeps inside itself
/// included. A moved-from or shortened one may still hold bytes until then.
class SecretString : public std::basic_string<char, std::char_traits<char>, WipingAllocator<char>> {
 public:
  using basic_string::basic_string;
  SecretString(const SecretString&) = delete;
  SecretString& operator=(const SecretString&) = delete;
  ~SecretString() { wipeAll(); }

  /// Makes it empty and gives its memory back, wiped by the allocator.
  void clear() noexcept {
    if (capacity() == basic_string().capacity()) wipeAll();  // the string keeps the bytes inside itself
    basic_string::clear();
    basic_string().swap(*this);
  }

 private:
  void wipeAll() noexcept { wipe(data(), capacity()); }
};

}  // namespace ferrin::proxy
