#include "proxy/Options.h"

#include <gtest/gtest.h>

#include <vector>

namespace ferrin::proxy {
namespace {

using Arguments = std::vector<std::string_view>;

Arguments with(std::string_view name, std::string_view value) {
  Arguments arguments{
      "--host",         "127.0.0.1", "--port",    "8787", "--upstream", "https://api.example/v1",
      "--api-key-file", "/k",        "--timeout", "600"};
  for (std::size_t at = 0; at < arguments.size(); at += 2) {
    if (arguments[at] == name) arguments[at + 1] = value;
  }
  return arguments;
}

std::string complaintAbout(const Arguments& arguments) {
  try {
    parseOptions(arguments);
  } catch (const OptionError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(ParseOptions, takesTheFiveInAnyOrder) {
  const Arguments arguments{"--timeout", "600",       "--api-key-file", "/a b/key",
                            "--host",    "127.0.0.1", "--upstream",     "https://api.example:8443/v1/",
                            "--port",    "8787"};
  const Options options = parseOptions(arguments);
  EXPECT_EQ(options.host, "127.0.0.1");
  EXPECT_EQ(options.port, 8787);
  EXPECT_EQ(options.apiKeyFile, "/a b/key");
  EXPECT_EQ(options.timeout, std::chrono::seconds(600));
  EXPECT_TRUE(options.upstream.secure);
  EXPECT_EQ(options.upstream.host, "api.example");
  EXPECT_EQ(options.upstream.port, 8443);
  EXPECT_EQ(options.upstream.basePath, "/v1");
  EXPECT_EQ(options.upstream.hostField, "api.example:8443");
  EXPECT_EQ(parseOptions(with("--host", "::1")).host, "::1");
  EXPECT_EQ(parseOptions(with("--port", "0")).port, 0);
}

TEST(ParseOptions, namesTheOptionThatIsWrong) {
  struct Row {
    Arguments arguments;
    std::string complaint;
  };
  Arguments missing = with("", "");
  missing.resize(8);
  Arguments cut = with("", "");
  cut.pop_back();
  Arguments twice = with("", "");
  twice.insert(twice.end(), {"--port", "8787"});
  Arguments unknown = with("", "");
  unknown.insert(unknown.end(), {"--verbose", "1"});
  const Row rows[] = {
      {{}, "--host: missing"},
      {missing, "--timeout: missing"},
      {cut, "--timeout: its value is missing"},
      {twice, "--port: given twice"},
      {unknown, "--verbose: unknown option"},
      {with("--host", "0.0.0.0"), "--host: not a loopback address such as 127.0.0.1"},
      {with("--host", "localhost"), "--host: not a loopback address such as 127.0.0.1"},
      {with("--port", "65536"), "--port: not a number from 0 to 65535"},
      {with("--port", "-1"), "--port: not a number from 0 to 65535"},
      {with("--port", "80x"), "--port: not a number from 0 to 65535"},
      {with("--timeout", "0"), "--timeout: not a number from 1 to 31536000"},
      {with("--timeout", "1.5"), "--timeout: not a number from 1 to 31536000"},
      {with("--timeout", "99999999999999999999"), "--timeout: not a number from 1 to 31536000"},
      {with("--api-key-file", ""), "--api-key-file: no file name"},
      {with("--upstream", ""), "--upstream: not a URL"},
      {with("--upstream", "api.example/v1"), "--upstream: not a URL"},
      {with("--upstream", "ftp://api.example"), "--upstream: the scheme is not http or https"},
      {with("--upstream", "https:///v1"), "--upstream: there is no host"},
      {with("--upstream", "https:v1"), "--upstream: there is no host"},
      {with("--upstream", "https://u:p@api.example"),
       "--upstream: a user name or password does not belong in it"},
      {with("--upstream", "https://api.example/v1?a=b"), "--upstream: it ends in a query or a fragment"},
      {with("--upstream", "https://api.example:0/"), "--upstream: the port is not a number from 1 to 65535"},
      {with("--upstream", "https://api.example:70000/"),
       "--upstream: the port is not a number from 1 to 65535"},
      {with("--upstream", "https://api.example:99999/"),
       "--upstream: the port is not a number from 1 to 65535"},
      {with("--upstream", "https://api.example:8o80/v1"),
       "--upstream: the port is not a number from 1 to 65535"},
      {with("--upstream", "https://api.example//v1"), "--upstream: its path begins with two slashes"},
      {with("--upstream", "https://a b/"), "--upstream: not a URL"},
  };
  for (const Row& row : rows) EXPECT_EQ(complaintAbout(row.arguments), row.complaint);
}

}  // namespace
}  // namespace ferrin::proxy
