#include "tools/sampleprovider/Options.h"

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <set>

namespace ferrin::sampleprovider {
namespace {

constexpr std::uint64_t maxEvents = 10'000'000;
constexpr std::uint64_t maxDeltaBytes = 1 << 20;
constexpr std::uint64_t maxMilliseconds = 3'600'000;
constexpr std::uint64_t maxAnswerBytes = 256 << 20;

std::uint64_t number(std::string_view option, std::string_view value, std::uint64_t least,
                     std::uint64_t most) {
  std::uint64_t parsed = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), parsed);
  if (error != std::errc{} || end != value.data() + value.size() || parsed < least || parsed > most) {
    throw BadOption(option,
                    "not a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return parsed;
}

std::string address(std::string_view option, std::string_view value) {
  boost::system::error_code error;
  const auto parsed = boost::asio::ip::make_address(value, error);
  if (error) throw BadOption(option, "not an IP address");
  return parsed.to_string();
}

std::string prefix(std::string_view option, std::string_view value) {
  if (!value.starts_with('/')) throw BadOption(option, "a path begins with a slash");
  if (value.ends_with('/'))
    throw BadOption(option, "a path that requests are put below ends without a slash");
  return std::string(value);
}

BreakOff::With breakOffWith(std::string_view option, std::string_view value) {
  if (value == "fin") return BreakOff::With::fin;
  if (value == "reset") return BreakOff::With::reset;
  throw BadOption(option, "neither fin nor reset");
}

std::chrono::milliseconds milliseconds(std::string_view option, std::string_view value) {
  return std::chrono::milliseconds(number(option, value, 0, maxMilliseconds));
}

std::string file(std::string_view option, std::string_view value) {
  if (value.empty()) throw BadOption(option, "no file named");
  return std::string(value);
}

/// What has been read so far, with the parts of which some options say only half.
struct Draft {
  Options options;
  TlsFiles tls;
  BreakOff breakOff;
};

struct Rule {
  std::string_view name;
  void (*take)(Draft&, std::string_view name, std::string_view value);
};

constexpr std::array valueRules{
    Rule{"--host", [](Draft& d, auto n, auto v) { d.options.host = address(n, v); }},
    Rule{"--port", [](Draft& d, auto n,
                      auto v) { d.options.port = static_cast<std::uint16_t>(number(n, v, 0, 65535)); }},
    Rule{"--prefix", [](Draft& d, auto n, auto v) { d.options.prefix = prefix(n, v); }},
    Rule{"--key-file", [](Draft& d, auto n, auto v) { d.options.keyFile = file(n, v); }},
    Rule{"--events", [](Draft& d, auto n, auto v) { d.options.events = number(n, v, 1, maxEvents); }},
    Rule{"--delta-bytes",
         [](Draft& d, auto n, auto v) { d.options.deltaBytes = number(n, v, 1, maxDeltaBytes); }},
    Rule{"--delay-ms", [](Draft& d, auto n, auto v) { d.options.delay = milliseconds(n, v); }},
    Rule{"--interval-ms", [](Draft& d, auto n, auto v) { d.options.interval = milliseconds(n, v); }},
    Rule{"--status",
         [](Draft& d, auto n, auto v) { d.options.status = static_cast<unsigned>(number(n, v, 200, 599)); }},
    Rule{"--retry-after",
         [](Draft& d, auto n, auto v) { d.options.retryAfterSeconds = number(n, v, 0, 86'400); }},
    Rule{"--break-after",
         [](Draft& d, auto n, auto v) { d.breakOff.afterEvents = number(n, v, 0, maxEvents); }},
    Rule{"--break-with", [](Draft& d, auto n, auto v) { d.breakOff.with = breakOffWith(n, v); }},
    Rule{"--tls-certificate", [](Draft& d, auto n, auto v) { d.tls.certificate = file(n, v); }},
    Rule{"--tls-key", [](Draft& d, auto n, auto v) { d.tls.key = file(n, v); }},
    Rule{"--tls-self-made", [](Draft& d, auto n, auto v) { d.tls.selfMadeCertificate = file(n, v); }},
};

using Given = std::set<std::string_view>;

/// `option` says nothing without `other`.
void needs(const Given& given, std::string_view option, std::string_view other) {
  if (given.contains(option) && !given.contains(other)) {
    throw BadOption(option, "needs " + std::string(other));
  }
}

void checkTogether(const Given& given, const Options& options) {
  if (!given.contains("--key-file")) throw BadOption("--key-file", "missing");
  needs(given, "--tls-certificate", "--tls-key");
  needs(given, "--tls-key", "--tls-certificate");
  needs(given, "--break-with", "--break-after");
  if (given.contains("--tls-self-made") && given.contains("--tls-certificate")) {
    throw BadOption("--tls-self-made", "not together with --tls-certificate");
  }
  if (options.events * options.deltaBytes > maxAnswerBytes) {
    throw BadOption("--delta-bytes",
                    "makes an answer of more than " + std::to_string(maxAnswerBytes) + " bytes");
  }
  if (options.status > 200 && options.status < 400) {
    throw BadOption("--status", "200, or an error from 400 to 599");
  }
}

}  // namespace

Options parseOptions(const std::vector<std::string_view>& arguments) {
  Draft draft;
  Given given;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const std::string_view name = *argument;
    const auto rule = std::ranges::find(valueRules, name, &Rule::name);
    if (rule == valueRules.end() && name != "--echo") throw BadOption(name, "no such option");
    if (!given.insert(name).second) throw BadOption(name, "given twice");
    if (rule == valueRules.end()) {
      draft.options.echo = true;
      continue;
    }
    if (++argument == arguments.end()) throw BadOption(name, "its value is missing");
    rule->take(draft, name, *argument);
  }
  checkTogether(given, draft.options);
  if (given.contains("--break-after")) draft.options.breakOff = draft.breakOff;
  if (given.contains("--tls-certificate") || given.contains("--tls-self-made")) draft.options.tls = draft.tls;
  return draft.options;
}

std::string_view usage() {
  return R"(ferrin-sample-provider --key-file FILE [option...]

A model provider on this machine for demonstrations, tests and benchmarks. It answers POST /responses, whole or as
an event stream, and GET /models, both with a bearer key, and GET /stats without one.

  --key-file FILE         the key that clients must show; the file's first line
  --host ADDRESS          IP address to listen on (127.0.0.1)
  --port NUMBER           port to listen on; 0 takes a free one (0)
  --prefix PATH           path that /responses and /models lie below, such as /v1 (none)

  --events NUMBER         text deltas in an answer (20)
  --delta-bytes NUMBER    size of each (8)
  --echo                  answer with the request's prompt, in deltas of that size
  --delay-ms NUMBER       time before an answer begins (0)
  --interval-ms NUMBER    time between two deltas (0)

  --status NUMBER         answer everything with this error (200: none)
  --retry-after SECONDS   Retry-After on error answers
  --break-after NUMBER    break a stream off after this many events, a whole answer in its middle
  --break-with fin|reset  how the connection then ends (reset)

  --tls-certificate FILE  speak TLS with this certificate chain (PEM)
  --tls-key FILE          and this private key (PEM)
  --tls-self-made FILE    speak TLS with a certificate made at start; it is written to FILE for clients to trust
)";
}

}  // namespace ferrin::sampleprovider
