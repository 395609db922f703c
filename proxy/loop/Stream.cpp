#include "proxy/loop/Stream.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "proxy/loop/Gathered.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t maxPieces = 4;
/// Fewer bytes than this are copied into one block rather than handed over in pieces.
constexpr std::size_t smallBytes = 2048;
static_assert(smallBytes <= Gathered::capacity);

}  // namespace

std::string Stream::problem() const {
  return lastReason != nullptr ? lastReason : std::generic_category().message(lastError);
}

IoResult Stream::failed(int systemError) noexcept {
  lastError = systemError;
  lastReason = nullptr;
  return {IoStatus::failed};
}

IoResult Stream::failed(const char* reason) noexcept {
  lastReason = reason;
  return {IoStatus::failed};
}

/// False when there is nothing to read after all.
bool ReadSome::attempt() {
  result = stream.read(block);
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

IoResult PlainStream::read(std::span<char> into) {
  const ssize_t count = connection.receive(into);
  more = count == static_cast<ssize_t>(into.size());
  if (count < 0) return failure(errno);
  if (count == 0) return {IoStatus::end};
  return {IoStatus::moved, static_cast<std::size_t>(count)};
}

IoResult PlainStream::write(std::span<const std::string_view> pieces) {
  if (!Gathered::suits(pieces, smallBytes)) return transmit(pieces);
  const Gathered gathered(pieces);
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

bool PlainStream::isReusable() {
  if (!connection.mayHaveUnread()) return true;
  char byte = 0;
  return recv(connection.descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 &&
         (errno == EAGAIN || errno == EWOULDBLOCK);
}

IoResult PlainStream::failure(int error) {
  if (error == EAGAIN || error == EWOULDBLOCK) return {IoStatus::blocked};
  return failed(error);
}

}  // namespace ferrin::proxy
