#include "tests/sampleprovider/RunningProvider.h"

#include <boost/asio/io_context.hpp>
#include <thread>

#include "tools/sampleprovider/Options.h"
#include "tools/sampleprovider/Server.h"

namespace ferrin::tests {

struct RunningProvider::Running {
  explicit Running(sampleprovider::Options given, const std::string& key)
      : options(std::move(given)), server(io, options, key) {}
  ~Running() {
    io.stop();
    thread.join();
  }

  boost::asio::io_context io{1};
  const sampleprovider::Options options;
  sampleprovider::Server server;
  std::thread thread{[this] { io.run(); }};
};

RunningProvider::RunningProvider(const std::string& key, const std::filesystem::path& certificate) {
  sampleprovider::Options options;
  options.prefix = "/v1";
  options.echo = true;
  if (!certificate.empty()) options.tls = {.certificate = {}, .key = {}, .selfMadeCertificate = certificate};
  running = std::make_unique<Running>(options, key);
}

RunningProvider::~RunningProvider() = default;

std::string RunningProvider::baseURL() const { return running->server.baseURL(); }

}  // namespace ferrin::tests
