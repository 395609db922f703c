#include "tests/sampleprovider/RunningProvider.h"

#include <boost/asio/io_context.hpp>
#include <thread>

#include "tools/sampleprovider/Options.h"
#include "tools/sampleprovider/Server.h"

namespace ferrin::tests {
namespace {

sampleprovider::Options optionsWith(const std::filesystem::path& certificate) {
  sampleprovider::Options options;
  options.prefix = "/v1";
  options.echo = true;
  if (!certificate.empty()) options.tls = {.certificate = {}, .key = {}, .selfMadeCertificate = certificate};
  return options;
}

}  // namespace

struct RunningProvider::Running {
  Running(const std::string& key, const std::filesystem::path& certificate)
      : options(optionsWith(certificate)), server(io, options, key) {}

  boost::asio::io_context io{1};
  const sampleprovider::Options options;
  sampleprovider::Server server;
  std::thread thread{[this] { io.run(); }};
};

RunningProvider::RunningProvider(const std::string& key, const std::filesystem::path& certificate)
    : running(std::make_unique<Running>(key, certificate)) {}

RunningProvider::~RunningProvider() {
  running->io.stop();
  running->thread.join();
}

std::string RunningProvider::baseURL() const { return running->server.baseURL(); }

}  // namespace ferrin::tests
