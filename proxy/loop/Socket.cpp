#include "proxy/loop/Socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace ferrin::proxy {
namespace {

ssize_t sendPieces(int descriptor, std::span<iovec> pieces) {
  if (pieces.size() == 1) return send(descriptor, pieces[0].iov_base, pieces[0].iov_len, MSG_NOSIGNAL);
  msghdr message{};
  message.msg_iov = pieces.data();
  message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(pieces.size());
  return sendmsg(descriptor, &message, MSG_NOSIGNAL);
}

}  // namespace

Socket::Socket(EventLoop& home, Descriptor connected) : Watched(home), socket(std::move(connected)) {
  const int on = 1;
  setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  loop.watch(socket.get(), *this);
}

ssize_t Socket::receive(std::span<char> into) {
  if (!read.ready) {
    errno = EAGAIN;
    return -1;
  }
  ssize_t count = 0;
  do count = recv(socket.get(), into.data(), into.size(), 0);
  while (count < 0 && errno == EINTR);
  // A short read has taken all that there was, but not the end of the stream behind it.
  const bool drained =
      count < 0 ? errno == EAGAIN : count > 0 && static_cast<std::size_t>(count) < into.size();
  if (drained) read.ready = ended;
  return count;
}

ssize_t Socket::transmit(std::span<iovec> pieces) {
  ssize_t count = 0;
  do count = sendPieces(socket.get(), pieces);
  while (count < 0 && errno == EINTR);
  std::size_t size = 0;
  for (const iovec& piece : pieces) size += piece.iov_len;
  if (count < 0 ? errno == EAGAIN : static_cast<std::size_t>(count) < size) write.ready = false;
  return count;
}

void Socket::watch(std::function<void()> told) {
  watcher = std::move(told);
  stirred = read.ready;
  if (stirred) loop.soon(*this);
}

void Socket::interrupt() {
  for (Side* side : {&read, &write}) side->interrupting = side->waiter != nullptr;
  loop.soon(*this);
}

void Socket::shutdownSending() { shutdown(socket.get(), SHUT_WR); }

void Socket::reset() {
  const linger abort{1, 0};
  setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  socket.close();
}

void Socket::awaitReadable(Waiter& waiter, bool afterOthers) {
  read.waiter = &waiter;
  read.yielding = afterOthers;
  if (afterOthers) loop.soon(*this);
}

void Socket::Side::wake() {
  yielding = false;
  const Wake why = std::exchange(interrupting, false) ? Wake::interrupted : Wake::ready;
  std::exchange(waiter, nullptr)->woken(why);
}

void Socket::noted(const Change& change) {
  ended = ended || change.hungUp;
  read.ready = read.ready || change.readable;
  write.ready = write.ready || change.writable;
  stirred = stirred || change.readable;
}

void Socket::goOnReading() {
  if (!std::exchange(stirred, false)) return;
  if (read.waiter) {
    read.wake();
  } else if (const auto told = watcher) {  // a copy: it may end this socket, and with it itself
    told();
  }
}

void Socket::goOnWriting() {
  if (write.waiter && write.ready) write.wake();
}

/// Wakes who was interrupted or has let others go first; one in a turn, as that may be the end of this
/// socket.
void Socket::run() {
  const bool reading = read.waiter && (read.interrupting || read.yielding);
  if (reading && write.interrupting) loop.soon(*this);
  if (reading) {
    read.wake();
  } else if (write.waiter && write.interrupting) {
    write.wake();
  } else {
    goOnReading();
  }
}

}  // namespace ferrin::proxy
