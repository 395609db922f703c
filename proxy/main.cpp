// The relay program: forwards the agent tool's requests to the provider with the stored key.

#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "proxy/Options.h"
#include "proxy/Server.h"
#include "proxy/Services.h"
#include "proxy/Version.h"
#include "proxy/system/CoreDumps.h"
#include "proxy/system/Starter.h"

namespace {

using namespace ferrin::proxy;

constexpr int failed = 1;
constexpr int misused = 2;

/// What a reader of the log asks first.
std::string startLine(const Route& route, std::string_view starter) {
  std::string line("ferrin-third-party-proxy ");
  return line.append(version)
      .append(", ")
      .append(route.description())
      .append(", started by ")
      .append(starter);
}

int relay(const Options& options) {
  std::signal(SIGPIPE, SIG_IGN);
  const NoCoreDumps noCoreDumps;
  EventLoop loop;
  Services services(loop, options, STDOUT_FILENO);
  Server server(services);
  const std::string_view startedBy = starter(ownOrigin());
  const std::string startedLine = startLine(*services.routes.current(), startedBy);
  server.start();
  services.log.note(startedLine);
  if (startedBy != "hand") server.endWhenReplaced();
  loop.run();
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const std::vector<std::string_view> given(arguments + 1, arguments + count);
    return relay(parseOptions(given));
  } catch (const OptionError& error) {
    std::cerr << error.what() << '\n';
    return misused;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return failed;
  }
}
