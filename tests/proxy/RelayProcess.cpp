#include "tests/proxy/RelayProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace ferrin::proxy::tests {
namespace {

using ferrin::tests::contentOf;
using ferrin::tests::put;

/// Starts the relay with its output appended to `log`.
pid_t start(const std::string& program, const std::vector<std::string>& arguments,
            const std::filesystem::path& log,
            const std::vector<std::pair<std::string, std::string>>& environment) {
  std::vector<const char*> list{program.c_str()};
  for (const std::string& argument : arguments) list.push_back(argument.c_str());
  list.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  execv(program.c_str(), const_cast<char* const*>(list.data()));
  _exit(127);
}

int statusOf(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

template <typename Condition>
bool eventually(Condition holds) {
  for (const auto end = std::chrono::steady_clock::now() + patience;
       std::chrono::steady_clock::now() < end;) {
    if (holds()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return holds();
}

std::uint16_t announcedPort(const std::string& log) {
  const std::size_t port = log.rfind(':', log.find("/v1, forwarding to ")) + 1;
  return static_cast<std::uint16_t>(std::stoul(log.substr(port)));
}

}  // namespace

void RelayProcess::Settings::sanitizerOptions(const std::string& more) {
  const char* options = std::getenv("ASAN_OPTIONS");
  environment.emplace_back("ASAN_OPTIONS", std::string(options == nullptr ? "" : options) + ":" + more);
}

void RelayProcess::Settings::surround(const std::vector<std::pair<std::string, std::string>>& variables) {
  environment = variables;
  environment.emplace_back("LD_PRELOAD", FERRIN_SURROUNDINGS);
  sanitizerOptions("verify_asan_link_order=0");
}

RelayProcess::RelayProcess(const std::string& upstream, const Settings& settings) {
  if (!settings.key.empty()) put(keyFile(), settings.key);
  put(logFile(), settings.logContent);
  child = start(settings.program,
                {"--host", settings.host, "--port", "0", "--upstream", upstream, "--api-key-file", keyFile(),
                 "--timeout", settings.timeout},
                logFile(), settings.environment);
  if (!eventually([this] { return log().find("/v1, forwarding to ") != std::string::npos; })) {
    throw std::runtime_error("the relay did not start: " + log());
  }
  number = announcedPort(log());
}

RelayProcess::~RelayProcess() {
  if (child < 0) return;
  kill(child, SIGTERM);
  EXPECT_EQ(wait(), 0) << log();
}

std::string RelayProcess::log() const { return contentOf(logFile()); }

bool RelayProcess::logs(const std::string& text) const {
  return eventually([&] { return log().find(text) != std::string::npos; });
}

void RelayProcess::signal(int which) const { kill(child, which); }

int RelayProcess::wait() { return statusOf(std::exchange(child, -1)); }

std::size_t RelayProcess::openDescriptors() const {
  const std::filesystem::directory_iterator entries("/proc/" + std::to_string(child) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t RelayProcess::residentBytes() const {
  std::ifstream stream("/proc/" + std::to_string(child) + "/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  stream >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::chrono::milliseconds RelayProcess::processorTime() const {
  std::istringstream fields(contentOf("/proc/" + std::to_string(child) + "/stat"));
  std::string skipped;
  for (int field = 1; field < 14; ++field) fields >> skipped;
  long user = 0;
  long system = 0;
  fields >> user >> system;
  return std::chrono::milliseconds((user + system) * 1000 / sysconf(_SC_CLK_TCK));
}

Joined joined(const RelayProcess& relay, Upstream& upstream, const std::string& request) {
  Connection client(relay.port());
  client.send(request);
  Connection side = upstream.accept();
  side.readHead();
  return {std::move(client), std::move(side)};
}

Joined joined(const RelayProcess& relay, Upstream& upstream) {
  return joined(relay, upstream, relay.request("GET /v1/a"));
}

std::pair<int, std::string> runRelay(const std::vector<std::string>& arguments) {
  const ferrin::tests::TemporaryFolder folder;
  const int status = statusOf(start(FERRIN_RELAY_PROGRAM, arguments, folder / "output", {}));
  return {status, contentOf(folder / "output")};
}

}  // namespace ferrin::proxy::tests
