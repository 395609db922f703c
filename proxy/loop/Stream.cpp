#include "proxy/loop/Stream.h"

#include <openssl/crypto.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "proxy/loop/Gathered.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t maxPieces = 4;
/// Less than this is copied rather than handed over in pieces.
constexpr std::size_t smallBytes = 2048;

}  // namespace

/// False when nothing is there after all.
bool ReadSome::attempt() {
  result = stream.read(into);
  return result.status != IoStatus::blocked;
}

void ReadSome::woken(Wake why) {
  if (why == Wake::interrupted) {
    result = {IoStatus::interrupted};
  } else if (!attempt()) {
    return stream.socket().awaitReadable(*this, false);
  }
  coroutine.resume();
}

bool Outbox::send(Stream& stream, std::initializer_list<std::string_view> pieces) {
  IoResult result{IoStatus::blocked};
  if (kept.empty()) result = stream.write(std::span(pieces.begin(), pieces.size()));
  taken = taken || result.bytes > 0;
  if (result.status == IoStatus::failed) return false;
  // A blocked TLS record may have gone in part, so only a clean failure counts as nothing taken.
  taken = true;
  std::size_t sent = result.bytes;
  std::size_t size = kept.size();
  for (std::string_view piece : pieces) size += piece.size();
  if (size > sent) kept.reserve(size - sent);  // at once, so that no outgrown copy of a key is left in memory
  for (std::string_view piece : pieces) {
    const std::size_t skipped = std::min(sent, piece.size());
    sent -= skipped;
    kept.append(piece.substr(skipped));
  }
  return true;
}

Task<bool> Outbox::flush(Stream& stream, Deadline& silence) {
  std::size_t offset = 0;
  while (offset < kept.size()) {
    const Wake wake = co_await stream.socket().writable();
    if (wake == Wake::interrupted) co_return false;
    const std::string_view rest = std::string_view(kept).substr(offset);
    const IoResult result = stream.write(std::span(&rest, 1));
    if (result.status == IoStatus::failed) co_return false;
    if (result.bytes > 0) silence.renew();
    offset += result.bytes;
  }
  wipe();
  co_return true;
}

void Outbox::wipe() {
  OPENSSL_cleanse(kept.data(), kept.size());
  std::string().swap(kept);
}

IoResult PlainStream::read(std::span<char> into) {
  const ssize_t count = connection.receive(into);
  more = count == static_cast<ssize_t>(into.size());
  if (count < 0) return failure(errno);
  if (count == 0) return {IoStatus::end};
  return {IoStatus::moved, static_cast<std::size_t>(count)};
}

IoResult PlainStream::write(std::span<const std::string_view> pieces) {
  std::size_t size = 0;
  std::size_t longest = 0;
  for (const std::string_view piece : pieces) {
    size += piece.size();
    longest = std::max(longest, piece.size());
  }
  if (longest == size || size > smallBytes) return transmit(pieces);
  const Gathered<smallBytes> gathered(pieces);
  const std::string_view bytes = gathered.bytes();
  return transmit({&bytes, 1});
}

IoResult PlainStream::transmit(std::span<const std::string_view> pieces) {
  std::array<iovec, maxPieces> vectors{};
  std::size_t count = 0;
  for (std::string_view piece : pieces.first(std::min(pieces.size(), maxPieces))) {
    if (!piece.empty()) vectors.at(count++) = {const_cast<char*>(piece.data()), piece.size()};
  }
  const ssize_t sent = connection.transmit(std::span(vectors).first(count));
  return sent < 0 ? failure(errno) : IoResult{IoStatus::moved, static_cast<std::size_t>(sent)};
}

bool PlainStream::quiet() {
  if (!connection.mayHaveUnread()) return true;
  char byte = 0;
  return recv(connection.descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 &&
         (errno == EAGAIN || errno == EWOULDBLOCK);
}

IoResult PlainStream::failure(int error) {
  if (error == EAGAIN || error == EWOULDBLOCK) return {IoStatus::blocked};
  return failed(std::generic_category().message(error));
}

}  // namespace ferrin::proxy
