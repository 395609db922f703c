#pragma once

#include <unistd.h>

#include <utility>

namespace ferrin::proxy {

/// Owns a file descriptor, or none (negative).
class Descriptor {
 public:
  explicit Descriptor(int opened = -1) : number(opened) {}
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~Descriptor() { close(); }

  int get() const { return number; }
  explicit operator bool() const { return number >= 0; }
  void close() {
    if (number >= 0) ::close(std::exchange(number, -1));
  }

 private:
  int number;
};

}  // namespace ferrin::proxy
