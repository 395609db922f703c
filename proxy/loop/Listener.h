#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <functional>

#include "proxy/loop/EventLoop.h"

namespace ferrin::proxy {

/// A listening socket that takes every connection as it comes.
class Listener : private Watched, private Job {
 public:
  /// `accepted` gets each connection; `failed` the reason, an errno value, why there can be none for the
  /// moment: again() is to be called some time later. Throws std::system_error when the endpoint can't be
  /// listened at.
  Listener(EventLoop& home, const boost::asio::ip::tcp::endpoint& endpoint,
           std::function<void(Descriptor)> accepted, std::function<void(int)> failed);

  /// Where it listens, with the port that was taken for 0.
  boost::asio::ip::tcp::endpoint endpoint() const;
  /// Tries on after a failure.
  void again() { loop.soon(*this); }

 private:
  void noted(const Change&) override {}
  void goOnReading() override { run(); }
  void goOnWriting() override {}
  void run() override;

  Descriptor socket;
  std::function<void(Descriptor)> accepted;
  std::function<void(int)> failed;
};

}  // namespace ferrin::proxy
