#include "tools/sampleprovider/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ferrin::sampleprovider {
namespace {

using Arguments = std::vector<std::string_view>;

TEST(Options, everyOptionArrivesWhereItBelongs) {
  const Options options = parseOptions({"--key-file", "key",
                                        "--host",     "::1",
                                        "--port",     "8080",
                                        "--prefix",   "/v1",
                                        "--events",   "3",
                                        "--echo",     "--delta-bytes",
                                        "4",          "--delay-ms",
                                        "5",          "--interval-ms",
                                        "6",          "--status",
                                        "429",        "--retry-after",
                                        "7",          "--break-after",
                                        "8",          "--break-with",
                                        "fin",        "--tls-certificate",
                                        "c.pem",      "--tls-key",
                                        "k.pem"});
  EXPECT_EQ(options.keyFile, "key");
  EXPECT_EQ(options.host, "::1");
  EXPECT_EQ(options.port, 8080);
  EXPECT_EQ(options.prefix, "/v1");
  EXPECT_EQ(options.events, 3U);
  EXPECT_TRUE(options.echo);
  EXPECT_EQ(options.deltaBytes, 4U);
  EXPECT_EQ(options.delay.count(), 5);
  EXPECT_EQ(options.interval.count(), 6);
  EXPECT_EQ(options.status, 429U);
  EXPECT_EQ(options.retryAfterSeconds, 7U);
  ASSERT_TRUE(options.breakOff);
  EXPECT_EQ(options.breakOff->afterEvents, 8U);
  EXPECT_EQ(options.breakOff->with, BreakOff::With::fin);
  ASSERT_TRUE(options.tls);
  EXPECT_EQ(options.tls->certificate, "c.pem");
  EXPECT_EQ(options.tls->key, "k.pem");
}

TEST(Options, nothingHappensThatWasNotAskedFor) {
  const Options options = parseOptions({"--key-file", "key"});
  EXPECT_FALSE(options.breakOff);
  EXPECT_FALSE(options.tls);
  EXPECT_FALSE(options.retryAfterSeconds);
  EXPECT_EQ(options.status, 200U);
}

TEST(Options, refusalsNameTheOption) {
  struct Row {
    std::string name;
    Arguments arguments;
    std::string begins;
  };
  const std::vector<Row> rows{
      {"unknown", {"--colour", "red"}, "--colour: no such"},
      {"a word", {"red"}, "red: no such"},
      {"value missing", {"--port"}, "--port: its value"},
      {"twice", {"--port", "1", "--port", "1"}, "--port: given twice"},
      {"switch twice", {"--echo", "--echo"}, "--echo: given twice"},
      {"no key", {"--port", "1"}, "--key-file: missing"},
      {"key unnamed", {"--key-file", ""}, "--key-file: no file"},
      {"not a number", {"--port", "http"}, "--port: not a whole number"},
      {"trailing text", {"--port", "80x"}, "--port: not a whole number"},
      {"negative", {"--events", "-1"}, "--events: not a whole number"},
      {"too big", {"--port", "65536"}, "--port: not a whole number"},
      {"no events", {"--events", "0"}, "--events: not a whole number"},
      {"overflow", {"--interval-ms", "99999999999999999999"}, "--interval-ms: not a whole number"},
      {"a name for an address", {"--host", "localhost"}, "--host: not an IP"},
      {"prefix without slash", {"--prefix", "v1"}, "--prefix: a path begins"},
      {"prefix with two", {"--prefix", "/v1/"}, "--prefix: a path that"},
      {"not an ending", {"--break-with", "bang"}, "--break-with: neither"},
      {"ending of nothing", {"--key-file", "k", "--break-with", "fin"}, "--break-with: needs --break-after"},
      {"half a pair", {"--key-file", "k", "--tls-key", "f"}, "--tls-key: needs --tls-certificate"},
      {"two certificates",
       {"--key-file", "k", "--tls-key", "f", "--tls-certificate", "c", "--tls-self-made", "s"},
       "--tls-self-made: not together"},
      {"not an error", {"--key-file", "k", "--status", "302"}, "--status: 200, or"},
      {"an answer beyond reason",
       {"--key-file", "k", "--events", "1000", "--delta-bytes", "1048576"},
       "--delta-bytes: makes"},
  };
  for (const Row& row : rows) {
    try {
      parseOptions(row.arguments);
      ADD_FAILURE() << row.name << ": accepted";
    } catch (const BadOption& error) {
      EXPECT_TRUE(std::string_view(error.what()).starts_with(row.begins)) << row.name << ": " << error.what();
    }
  }
}

}  // namespace
}  // namespace ferrin::sampleprovider
