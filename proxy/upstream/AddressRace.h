#pragma once
// Connecting to the first of several addresses that answers (RFC 8305, "Happy Eyeballs"): address families
// take turns, and the next address is tried as well when one has failed or has not answered for a moment.

#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <string>
#include <vector>

#include "proxy/loop/EventLoop.h"
#include "proxy/loop/Task.h"
#include "proxy/system/FileDescriptor.h"
#include "proxy/upstream/UpstreamTimeouts.h"

namespace ferrin::proxy {

using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

/// `resolved` in the order of attempts: its first address, then the families in turn, each in its own order.
Endpoints interleaved(const Endpoints& resolved);

class AddressRace {
 public:
  /// Throws std::bad_alloc; from then on the race needs no memory.
  AddressRace(EventLoop& home, UpstreamTimeouts& upstreamTimeouts, const Endpoints& inOrder);
  AddressRace(const AddressRace&) = delete;
  AddressRace& operator=(const AddressRace&) = delete;
  ~AddressRace();

  /// The connected, non-blocking socket of the winner, whose path the kernel probes; none when all have
  /// failed or the race was cancelled. The race must live until another handler watches that socket.
  Task<FileDescriptor> run();
  /// Ends run(), which is resumed within this call.
  void cancel() { finish(); }
  /// The first failure, as "ADDRESS: reason"; empty when there was none.
  std::string problem() const;

 private:
  class Attempt;

  void startNext() noexcept;
  void ended(Attempt& attempt, int error) noexcept;
  void finish() noexcept;

  UpstreamTimeouts& timeouts;
  std::vector<std::unique_ptr<Attempt>> attempts;
  std::size_t started = 0;
  std::size_t running = 0;
  FileDescriptor winner;
  bool over = false;
  const Attempt* firstFailed = nullptr;
  SingleConsumerEvent finished;
  Timer next;
};

}  // namespace ferrin::proxy
