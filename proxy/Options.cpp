#include "proxy/Options.h"

#include <array>
#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <cstdint>
#include <functional>

namespace ferrin::proxy {
namespace {

/// A number from `least` to `most` in decimal digits alone.
std::uint64_t number(std::string_view text, std::uint64_t least, std::uint64_t most) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < least || value > most) {
    throw std::invalid_argument("not a number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return value;
}

std::string loopbackAddress(std::string_view text) {
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(std::string(text), error);
  if (error || !address.is_loopback())
    throw std::invalid_argument("not a loopback address such as 127.0.0.1");
  return address.to_string();
}

struct Option {
  std::string_view name;
  void (*set)(Options& options, std::string_view value);
};

constexpr std::uint64_t maxTimeoutSeconds = std::uint64_t{365} * 24 * 3600;

constexpr std::array<Option, 5> knownOptions{{
    {"--host", [](Options& options, std::string_view value) { options.host = loopbackAddress(value); }},
    {"--port",
     [](Options& options, std::string_view value) {
       options.port = static_cast<std::uint16_t>(number(value, 0, UINT16_MAX));
     }},
    {"--upstream",
     [](Options& options, std::string_view value) { options.upstream = parseUpstreamURL(value); }},
    {"--api-key-file",
     [](Options& options, std::string_view value) {
       if (value.empty()) throw std::invalid_argument("no file name");
       options.apiKeyFile = value;
     }},
    {"--timeout",
     [](Options& options, std::string_view value) {
       options.timeout = std::chrono::seconds(number(value, 1, maxTimeoutSeconds));
     }},
}};

std::size_t indexOf(std::string_view name) {
  for (std::size_t index = 0; index < knownOptions.size(); ++index) {
    if (knownOptions.at(index).name == name) return index;
  }
  throw OptionError(std::string(name) + ": unknown option");
}

}  // namespace

Options parseOptions(std::span<const std::string_view> arguments) {
  Options options;
  std::array<bool, knownOptions.size()> given{};
  for (std::size_t at = 0; at < arguments.size(); at += 2) {
    const std::size_t index = indexOf(arguments[at]);
    const std::string name(arguments[at]);
    if (given.at(index)) throw OptionError(name + ": given twice");
    if (at + 1 == arguments.size()) throw OptionError(name + ": its value is missing");
    try {
      knownOptions.at(index).set(options, arguments[at + 1]);
    } catch (const std::invalid_argument& reason) {
      throw OptionError(name + ": " + reason.what());
    }
    given.at(index) = true;
  }
  for (std::size_t index = 0; index < given.size(); ++index) {
    if (!given.at(index)) throw OptionError(std::string(knownOptions.at(index).name) + ": missing");
  }
  return options;
}

}  // namespace ferrin::proxy
