#pragma once
// What the sample provider is told on its command line.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ferrin::sampleprovider {

/// An answer that stops short on purpose.
struct BreakOff {
  enum class With { fin, reset };
  std::uint64_t afterEvents = 0;
  With with = With::reset;
};

/// Certificate and key from files, or a certificate made at start and written for clients to trust.
struct TlsFiles {
  std::filesystem::path certificate;
  std::filesystem::path key;
  std::filesystem::path selfMadeCertificate;
};

struct Options {
  std::string host = "127.0.0.1";
  std::uint16_t port = 0;
  std::string prefix;
  std::filesystem::path keyFile;

  std::uint64_t events = 20;
  std::uint64_t deltaBytes = 8;
  bool echo = false;
  std::chrono::milliseconds delay{0};
  std::chrono::milliseconds interval{0};

  unsigned status = 200;
  std::optional<std::uint64_t> retryAfterSeconds;
  std::optional<BreakOff> breakOff;
  std::optional<TlsFiles> tls;
};

/// One line that names the option and the reason.
class BadOption : public std::runtime_error {
 public:
  BadOption(std::string_view option, std::string_view reason)
      : std::runtime_error(std::string(option) + ": " + std::string(reason)) {}
};

/// The options as given, defaults for the others. Throws BadOption for anything unknown, malformed, out of
/// range, given twice, or given without the option that it belongs to. Looks at no file.
Options parseOptions(const std::vector<std::string_view>& arguments);

/// Every option with its meaning and its default.
std::string_view usage();

}  // namespace ferrin::sampleprovider
