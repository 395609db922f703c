#pragma once
// The built relay as a process of its own, with its key and its log in a private folder.

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/proxy/Peers.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy::tests {

class RelayProcess {
 public:
  struct Settings {
    std::string timeout = "60";
    std::string key = "sk-test-key\n";
    std::vector<std::pair<std::string, std::string>> environment = {};
    std::string program = FERRIN_RELAY_PROGRAM;
    std::string host = "127.0.0.1";
    std::string logContent = "";  ///< what the log holds before the start

    void sanitizerOptions(const std::string& more);
    /// With the names and the clock that Surroundings.cpp reads from the files in `variables`.
    void surround(const std::vector<std::pair<std::string, std::string>>& variables = {});
  };
  static constexpr const char* key = "sk-test-key";

  explicit RelayProcess(const std::string& upstream) : RelayProcess(upstream, Settings()) {}
  RelayProcess(const std::string& upstream, const Settings& settings);
  RelayProcess(const RelayProcess&) = delete;
  RelayProcess& operator=(const RelayProcess&) = delete;
  /// Stops it, and fails the test if that or the sanitizers' checks at its end go wrong.
  ~RelayProcess();

  std::uint16_t port() const { return number; }
  pid_t process() const { return child; }
  std::filesystem::path keyFile() const { return folder / "key"; }
  std::filesystem::path logFile() const { return folder / "log"; }
  std::string log() const;
  /// Waits until the log holds `text`.
  bool logs(const std::string& text) const;
  std::string request(const std::string& requestLine, const std::string& moreLines = "",
                      const std::string& body = "") const {
    return tests::request(number, requestLine, moreLines, body);
  }

  void signal(int number) const;
  /// Waits for its end; the exit status, or minus the signal that ended it.
  int wait();
  std::size_t openDescriptors() const;
  std::size_t residentBytes() const;
  std::chrono::milliseconds processorTime() const;

 private:
  ferrin::tests::TemporaryFolder folder;
  pid_t child = -1;
  std::uint16_t number = 0;
};

/// A relay, and an upstream that the test plays.
class RelayTest : public testing::Test {
 protected:
  Upstream upstream;
  RelayProcess relay{upstream.url()};
};

/// A new client whose request has come to the upstream, and been read up to the end of its head.
struct Joined {
  Connection client;
  Connection side;
};
Joined joined(const RelayProcess& relay, Upstream& upstream, const std::string& request);
/// The same for any request.
Joined joined(const RelayProcess& relay, Upstream& upstream);

/// Runs the relay with `arguments` to its end: its exit status, and all that it printed.
std::pair<int, std::string> runRelay(const std::vector<std::string>& arguments);

}  // namespace ferrin::proxy::tests
