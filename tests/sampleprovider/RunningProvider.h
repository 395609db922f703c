#pragma once
// The sample provider on a thread of the test's own.

#include <boost/asio/io_context.hpp>
#include <string>
#include <thread>

#include "tools/sampleprovider/Options.h"
#include "tools/sampleprovider/Server.h"

namespace ferrin::tests {

class RunningProvider {
 public:
  /// Answers with what it is asked, to requests that carry `key`.
  explicit RunningProvider(const std::string& key) : server(io, echoing(options), key) {}
  ~RunningProvider() {
    io.stop();
    thread.join();
  }

  /// What clients put in front of "/responses".
  std::string baseURL() const { return server.baseURL(); }

 private:
  static const sampleprovider::Options& echoing(sampleprovider::Options& options) {
    options.prefix = "/v1";
    options.echo = true;
    return options;
  }

  boost::asio::io_context io{1};
  sampleprovider::Options options;
  sampleprovider::Server server;
  std::thread thread{[this] { io.run(); }};
};

}  // namespace ferrin::tests
