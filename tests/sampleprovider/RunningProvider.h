#pragma once
// The sample provider on a thread of the test's own.

#include <filesystem>
#include <memory>
#include <string>

namespace ferrin::tests {

class RunningProvider {
 public:
  /// Answers with what it is asked, to requests that carry `key`. With a `certificate` it speaks TLS, and
  /// writes there what clients need to trust.
  explicit RunningProvider(const std::string& key, const std::filesystem::path& certificate = {});
  ~RunningProvider();

  /// What clients put in front of "/responses".
  std::string baseURL() const;

 private:
  struct Running;
  std::unique_ptr<Running> running;
};

}  // namespace ferrin::tests
