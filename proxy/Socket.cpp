#include "proxy/Socket.h"

#include <utility>

namespace ferrin::proxy {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

Socket::Socket(tcp::socket connected) : socket(std::move(connected)) {
  boost::system::error_code ignored;  // a socket that is already dead shows that at its first read
  socket.non_blocking(true, ignored);
  socket.set_option(tcp::no_delay(true), ignored);
}

Socket::~Socket() {
  state->owner = nullptr;
  boost::system::error_code ignored;
  socket.close(ignored);
}

void Socket::watch(std::function<void()> stirred) {
  Side& side = state->read;
  side.watcher = std::move(stirred);
  if (std::exchange(side.fired, false)) {
    asio::post(socket.get_executor(), [held = state] {
      if (held->owner != nullptr) held->owner->ready(Direction::read);
    });
  } else {
    arm(Direction::read);
  }
}

void Socket::unwatch() { state->read.watcher = nullptr; }

void Socket::interrupt() {
  for (Side* side : {&state->read, &state->write}) side->interrupting = side->waiter != nullptr;
  boost::system::error_code ignored;
  socket.cancel(ignored);
}

void Socket::shutdownSending() {
  boost::system::error_code ignored;
  socket.shutdown(tcp::socket::shutdown_send, ignored);
}

void Socket::reset() {
  boost::system::error_code ignored;
  socket.set_option(asio::socket_base::linger(true, 0), ignored);
  socket.close(ignored);
}

void Socket::arm(Direction direction) {
  Side& waiting = side(direction);
  if (waiting.armed) return;
  waiting.armed = true;
  const auto kind = direction == Direction::read ? tcp::socket::wait_read : tcp::socket::wait_write;
  socket.async_wait(kind, [held = state, direction, &waiting](const boost::system::error_code& error) {
    waiting.armed = false;
    if (held->owner == nullptr) return;
    if (error == asio::error::operation_aborted) {
      held->owner->aborted(direction);
    } else {
      held->owner->ready(direction);
    }
  });
}

void Socket::ready(Direction direction) {
  Side& waiting = side(direction);
  if (waiting.waiter) {
    waiting.interrupted = std::exchange(waiting.interrupting, false);
    std::exchange(waiting.waiter, nullptr).resume();
    return;
  }
  if (const auto watcher = std::exchange(waiting.watcher, nullptr)) {
    watcher();
  } else {
    waiting.fired = true;
  }
}

/// A wait that was cancelled: its waiter goes on, but one that came later, and a watch, still want to know.
void Socket::aborted(Direction direction) {
  Side& waiting = side(direction);
  if (waiting.waiter && waiting.interrupting) {
    ready(direction);
  } else if (waiting.waiter || waiting.watcher) {
    arm(direction);
  }
}

}  // namespace ferrin::proxy
