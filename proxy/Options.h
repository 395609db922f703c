#pragma once
// The relay's command line.

#include <chrono>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "proxy/upstream/UpstreamURL.h"

namespace ferrin::proxy {

struct Options {
  std::string host;        ///< a loopback address, without brackets
  std::uint16_t port = 0;  ///< 0 takes a free one
  UpstreamURL upstream;
  std::filesystem::path apiKeyFile;
  std::chrono::seconds timeout{};  ///< the longest that an exchange may go without a byte
};

/// What is wrong with a command line: one line that names the option.
class OptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `arguments` without the program's name: the five options, each once with one value, in any order. Throws
/// OptionError.
Options parseOptions(std::span<const std::string_view> arguments);

}  // namespace ferrin::proxy
