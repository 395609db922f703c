#include "proxy/loop/SendBuffer.h"

#include <algorithm>

namespace ferrin::proxy {

bool SendBuffer::send(Stream& stream, std::initializer_list<std::string_view> pieces) {
  IoResult result{IoStatus::blocked};
  if (kept.empty()) result = stream.write(std::span(pieces.begin(), pieces.size()));
  maybeTaken = maybeTaken || result.bytes > 0;
  if (result.status == IoStatus::failed) return false;
  // A TLS record that is blocked may have gone in part, so only a clean failure counts as nothing taken.
  maybeTaken = true;
  std::size_t sent = result.bytes;
  for (const std::string_view piece : pieces) {
    const std::size_t skipped = std::min(sent, piece.size());
    sent -= skipped;
    if (skipped < piece.size()) kept.append(piece.substr(skipped));
  }
  return true;
}

Task<bool> SendBuffer::flush(Stream& stream, Timer& silence) {
  while (gone < kept.size()) {
    const Wake wake = co_await stream.socket().writable();
    if (wake == Wake::interrupted) co_return false;
    const std::string_view rest = std::string_view(kept).substr(gone);
    const IoResult result = stream.write(std::span(&rest, 1));
    gone += result.bytes;
    if (result.status == IoStatus::failed) co_return false;
    if (result.bytes > 0) silence.restart();
  }
  kept.clear();
  gone = 0;
  co_return true;
}

}  // namespace ferrin::proxy
