#pragma once
// Connecting to the first of several addresses that answers (RFC 8305): the families take turns, and the next
// address is tried as well when one has failed or not answered for a moment.

#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <string>
#include <vector>

#include "proxy/loop/EventLoop.h"
#include "proxy/loop/Task.h"
#include "proxy/system/Descriptor.h"
#include "proxy/upstream/UpstreamLimits.h"

namespace ferrin::proxy {

using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

/// `resolved` in the order of attempts: its first address, then the families in turn, each in its own order.
Endpoints interleaved(const Endpoints& resolved);

class AddressRace {
 public:
  AddressRace(EventLoop& home, UpstreamLimits& timeLimits, Endpoints inOrder);
  AddressRace(const AddressRace&) = delete;
  AddressRace& operator=(const AddressRace&) = delete;
  ~AddressRace();

  /// The connected, non-blocking socket of the winner; none when all have failed or the race was cancelled.
  Task<Descriptor> run();
  /// Ends run() at once.
  void cancel() { finish(); }
  /// The first failure, as "ADDRESS: reason".
  const std::string& problem() const { return firstProblem; }

 private:
  class Attempt;

  void startNext();
  void attempted(Attempt& attempt, int error);
  void finish();

  EventLoop& loop;
  UpstreamLimits& limits;
  Endpoints endpoints;
  std::vector<std::unique_ptr<Attempt>> attempts;
  Descriptor winner;
  std::size_t running = 0;
  bool over = false;
  std::string firstProblem;
  Signal finished;
  Deadline next;
};

}  // namespace ferrin::proxy
