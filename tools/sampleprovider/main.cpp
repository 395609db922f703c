// ferrin-sample-provider: see usage() for what it does.

#include <sys/resource.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sampleprovider/Options.h"
#include "tools/sampleprovider/Server.h"

namespace {

using namespace ferrin::sampleprovider;

std::string readKey(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::string key;
  if (!std::getline(stream, key) || key.empty())
    throw std::runtime_error(file.string() + ": no key in its first line");
  return key;
}

/// Every connection needs a descriptor, and the usual limit is 1,024 of them.
void allowManyConnections() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

void serve(const Options& options) {
  allowManyConnections();
  boost::asio::io_context io(1);
  Server server(io, options, readKey(options.keyFile));
  boost::asio::signal_set stop(io, SIGTERM, SIGINT);
  stop.async_wait([&io](boost::system::error_code, int) { io.stop(); });
  std::cout << "listening on " << server.baseURL() << '\n' << std::flush;
  io.run();
}

}  // namespace

int main(int argc, char** argv) try {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (arguments.size() == 1 && arguments.front() == "--help") {
    std::cout << usage();
    return 0;
  }
  serve(parseOptions(arguments));
  return 0;
} catch (const BadOption& error) {
  std::cerr << error.what() << '\n';
  return 2;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
