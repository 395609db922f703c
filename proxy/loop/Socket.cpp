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

Socket::Socket(EventLoop& home, FileDescriptor connected) : EventHandler(home), socket(std::move(connected)) {
  const int on = 1;
  setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  loop.watch(socket.get(), *this);
}

Socket::~Socket() {
  for (const Direction* direction : {&read, &write}) {
    if (direction->waiter != nullptr) direction->waiter->place = nullptr;
  }
}

ssize_t Socket::receive(std::span<char> into) {
  if (!read.ready) {
    errno = EAGAIN;
    return -1;
  }
  ssize_t count = 0;
  do count = recv(socket.get(), into.data(), into.size(), 0);
  while (count < 0 && errno == EINTR);
  if (count == 0 && sendError != 0) {
    errno = sendError;
    return -1;
  }
  // A short read has taken all bytes that there were, but not the end of the stream that may follow them.
  const bool drained =
      count < 0 ? errno == EAGAIN : count > 0 && static_cast<std::size_t>(count) < into.size();
  if (drained) read.ready = ended;
  return count;
}

ssize_t Socket::transmit(std::span<iovec> pieces) {
  ssize_t count = 0;
  do count = sendPieces(socket.get(), pieces);
  while (count < 0 && errno == EINTR);
  // The system tells a reset once only: when a send meets it, recv(2) goes on as after a proper end. EPIPE
  // leaves that end as it is, as the peer's had arrived before.
  if (count < 0 && errno != EAGAIN && errno != EPIPE) sendError = errno;
  std::size_t size = 0;
  for (const iovec& piece : pieces) size += piece.iov_len;
  if (count < 0 ? errno == EAGAIN : static_cast<std::size_t>(count) < size) write.ready = false;
  return count;
}

void Socket::watchActivity(std::function<void()> active) {
  activityWatcher = std::move(active);
  activity = read.ready;
  if (activity) loop.defer(*this);
}

void Socket::interrupt() {
  for (Direction* direction : {&read, &write}) direction->interrupting = direction->waiter != nullptr;
  loop.defer(*this);
}

void Socket::shutdownSending() { shutdown(socket.get(), SHUT_WR); }

void Socket::reset() {
  const linger abort{1, 0};
  setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  socket.reset();
}

void Socket::awaitReadable(Waiter& waiter, bool afterOthers) {
  read.await(waiter);
  read.yielding = afterOthers;
  if (afterOthers) loop.defer(*this);
}

void Socket::Direction::await(Waiter& who) {
  waiter = &who;
  who.place = &waiter;
  interrupting = false;
}

void Socket::Direction::wake() {
  yielding = false;
  const Wake why = std::exchange(interrupting, false) ? Wake::interrupted : Wake::ready;
  Waiter& woken = *std::exchange(waiter, nullptr);
  woken.place = nullptr;
  woken.woken(why);
}

void Socket::recordReadiness(const Readiness& readiness) noexcept {
  ended = ended || readiness.hungUp;
  read.ready = read.ready || readiness.readable;
  write.ready = write.ready || readiness.writable;
  activity = activity || readiness.readable;
}

void Socket::handleReadable() noexcept {
  if (!std::exchange(activity, false)) return;
  if (read.waiter) {
    read.wake();
  } else if (const auto call = activityWatcher) {  // a copy: the call may destroy this socket
    call();
  }
}

void Socket::handleWritable() noexcept {
  if (write.waiter && write.ready) write.wake();
}

/// Wakes a waiter that was interrupted or that let others go first. One per turn, as waking it may destroy
/// this socket.
void Socket::run() noexcept {
  const bool reading = read.waiter && (read.interrupting || read.yielding);
  if (reading && write.waiter && write.interrupting) loop.defer(*this);
  if (reading) {
    read.wake();
  } else if (write.waiter && write.interrupting) {
    write.wake();
  } else {
    handleReadable();
  }
}

}  // namespace ferrin::proxy
