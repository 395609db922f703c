#pragma once
// The relay's size limits.

#include <cstddef>

namespace ferrin::proxy {

inline constexpr std::size_t maxConnections = 1024;
/// The size of one read: what is forwarded at once, and the most that is kept per direction and stream.
inline constexpr std::size_t blockBytes = std::size_t{64} * 1024;

}  // namespace ferrin::proxy
