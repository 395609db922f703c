#pragma once
// The sample provider on a thread of the test's own.

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <string>
#include <thread>

#include "tools/sampleprovider/Options.h"
#include "tools/sampleprovider/Server.h"

namespace ferrin::tests {

class RunningProvider {
 public:
  /// Answers with what it is asked, to requests that carry `key`. With a `certificate` it speaks TLS, and
  /// writes there what clients need to trust.
  explicit RunningProvider(const std::string& key, const std::filesystem::path& certificate = {})
      : server(io, optionsWith(certificate), key) {}
  ~RunningProvider() {
    io.stop();
    thread.join();
  }

  /// What clients put in front of "/responses".
  std::string baseURL() const { return server.baseURL(); }

 private:
  const sampleprovider::Options& optionsWith(const std::filesystem::path& certificate) {
    options.prefix = "/v1";
    options.echo = true;
    if (!certificate.empty())
      options.tls = {.certificate = {}, .key = {}, .selfMadeCertificate = certificate};
    return options;
  }

  boost::asio::io_context io{1};
  sampleprovider::Options options;
  sampleprovider::Server server;
  std::thread thread{[this] { io.run(); }};
};

}  // namespace ferrin::tests
