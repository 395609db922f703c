#pragma once
// Connecting to the first of several addresses that answers (RFC 8305): the families take turns, and the next
// address is tried as well when one has failed or not answered for a moment.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "proxy/Limits.h"
#include "proxy/Task.h"

namespace ferrin::proxy {

using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

/// `resolved` in the order of attempts: its first address, then the families in turn, each in its own order.
Endpoints interleaved(const Endpoints& resolved);

class AddressRace {
 public:
  AddressRace(boost::asio::io_context& context, TimeLimits& timeLimits, Endpoints inOrder);
  AddressRace(const AddressRace&) = delete;
  AddressRace& operator=(const AddressRace&) = delete;
  ~AddressRace();

  /// The connected socket of the winner; nothing when all have failed or the race was cancelled.
  Task<std::optional<boost::asio::ip::tcp::socket>> run();
  void cancel();
  /// The first failure, as "ADDRESS: reason".
  const std::string& problem() const { return firstProblem; }

 private:
  using tcp = boost::asio::ip::tcp;

  void startNext();
  void attempted(std::size_t index, const boost::system::error_code& error);
  void finish();

  boost::asio::io_context& loop;
  TimeLimits& limits;
  Endpoints endpoints;
  std::vector<std::unique_ptr<tcp::socket>> sockets;
  std::optional<std::size_t> winner;
  std::size_t running = 0;
  bool over = false;
  std::string firstProblem;
  Signal finished;
  Deadline next;
  std::shared_ptr<AddressRace*> self;  ///< what late completions find this object by; empty when it has gone
};

}  // namespace ferrin::proxy
