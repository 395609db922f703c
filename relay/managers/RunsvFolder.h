#pragma once
// How one runsv(8) is given orders and observed: through the files of its service folder.

#include <filesystem>
#include <string>

namespace ferrin::relay {

/// The service folder of a runsv that may or may not be running. No call blocks.
class RunsvFolder {
 public:
  explicit RunsvFolder(std::filesystem::path serviceFolder) : folder(std::move(serviceFolder)) {}

  /// Whether a runsv supervises it just now.
  bool isSupervised() const;
  /// Gives an order, one of the letters of runsv(8), "CONTROL". False when no runsv takes it.
  bool order(char letter) const;
  /// The service's process, as a text; empty while none is running.
  std::string process() const;
  /// Whether the service itself is running.
  bool isRunning() const;

 private:
  std::string content(const char* name) const;

  std::filesystem::path folder;
};

}  // namespace ferrin::relay
