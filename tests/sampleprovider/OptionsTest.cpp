#include "tools/sampleprovider/Options.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "tests/support/Thrown.h"

namespace ferrin::sampleprovider {
namespace {

/// The arguments stand in one text, with a blank between two; '' is an empty one.
Options parsed(const std::string& text) {
  std::vector<std::string> words;
  std::istringstream stream(text);
  for (std::string word; stream >> word;) words.push_back(word == "''" ? "" : word);
  return parseOptions({words.begin(), words.end()});
}

TEST(Options, everyOptionArrivesWhereItBelongs) {
  const Options options = parsed(
      "--key-file key --host ::1 --port 8080 --prefix /v1 --events 3 --echo --delta-bytes 4 --delay-ms 5 "
      "--interval-ms 6 --status 429 --retry-after 7 --break-after 8 --break-with fin "
      "--tls-certificate c.pem --tls-key k.pem");
  EXPECT_EQ(std::tie(options.keyFile, options.host, options.prefix), std::tuple("key", "::1", "/v1"));
  EXPECT_EQ(std::tie(options.port, options.events, options.echo, options.deltaBytes),
            std::tuple(8080, 3U, true, 4U));
  EXPECT_EQ(options.delay.count(), 5);
  EXPECT_EQ(options.interval.count(), 6);
  EXPECT_EQ(std::tie(options.status, options.retryAfterSeconds), std::tuple(429U, 7U));
  EXPECT_EQ(options.breakOff.value().afterEvents, 8U);
  EXPECT_EQ(options.breakOff.value().with, BreakOff::With::fin);
  EXPECT_EQ(options.tls.value().certificate, "c.pem");
  EXPECT_EQ(options.tls.value().key, "k.pem");
}

TEST(Options, refusalsNameTheOption) {
  const std::pair<const char*, const char*> rows[] = {
      {"--colour red", "--colour: no such"},
      {"--port", "--port: its value"},
      {"--port 1 --port 1", "--port: given twice"},
      {"--echo --echo", "--echo: given twice"},
      {"--port 1", "--key-file: missing"},
      {"--key-file ''", "--key-file: no file"},
      {"--port 80x", "--port: not a whole number"},
      {"--port 65536", "--port: not a whole number"},
      {"--events -1", "--events: not a whole number"},
      {"--events 0", "--events: not a whole number"},
      {"--interval-ms 99999999999999999999", "--interval-ms: not a whole number"},
      {"--host localhost", "--host: not an IP"},
      {"--prefix v1", "--prefix: a path begins"},
      {"--prefix /v1/", "--prefix: a path that"},
      {"--break-with bang", "--break-with: neither"},
      {"--key-file k --break-with fin", "--break-with: needs --break-after"},
      {"--key-file k --tls-key f", "--tls-key: needs --tls-certificate"},
      {"--key-file k --tls-key f --tls-certificate c --tls-self-made s", "--tls-self-made: not together"},
      {"--key-file k --status 302", "--status: 200, or"},
      {"--key-file k --events 1000 --delta-bytes 1048576", "--delta-bytes: makes"},
  };
  for (const auto& [arguments, reason] : rows) {
    const std::string thrown = tests::thrownBy([text = arguments] { parsed(text); });
    EXPECT_TRUE(thrown.starts_with(reason)) << arguments << ": " << thrown;
  }
}

}  // namespace
}  // namespace ferrin::sampleprovider
