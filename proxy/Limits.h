#pragma once
// The relay's size limits that several files share. Others stand where they apply: maxHeadBytes in
// http/Heads.h, the log's in LogFile.h, the key's in KeyFile.cpp, refused connections in Server.cpp, a
// chunk's head and trailers in http/Framing.cpp.

#include <cstddef>

namespace ferrin::proxy {

inline constexpr std::size_t maxConnections = 1024;
/// The size of one read: what is forwarded at once, and the most that is kept per direction and stream.
inline constexpr std::size_t blockBytes = std::size_t{64} * 1024;

}  // namespace ferrin::proxy
