#pragma once
// The listening socket and the life of the whole relay.

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/intrusive/list.hpp>

#include "proxy/ClientConnection.h"
#include "proxy/Services.h"
#include "proxy/Task.h"

namespace ferrin::proxy {

class Server {
 public:
  explicit Server(Services& shared);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Listens and says so in the log's first line. Throws std::runtime_error, naming the port and its holder
  /// where it is taken.
  void start();

 private:
  using tcp = boost::asio::ip::tcp;
  using Connections = boost::intrusive::list<ClientConnection, boost::intrusive::constant_time_size<false>>;

  void listen();
  void acceptNext();
  void accepted(const boost::system::error_code& error, tcp::socket socket);
  Detached run(tcp::socket socket);
  void awaitSignal();
  void stop();
  void abandonAll();
  void connectionEnded();

  Services& services;
  tcp::acceptor acceptor;
  boost::asio::signal_set signals;
  Connections connections;
  Deadline drain;
  Deadline acceptAgain;
  bool shortOfDescriptors = false;
};

}  // namespace ferrin::proxy
