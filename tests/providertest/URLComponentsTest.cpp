#include "providertest/URLComponents.h"

#include <gtest/gtest.h>

namespace ferrin::providertest {
namespace {

struct Case {
  const char* text;
  const char* read;  ///< "SCHEME HOST", "SCHEME" without a host, or "none"
};

TEST(URL, isReadAsTheDirectRequestReadsItAndHasAHostOnlyWhereOneIsWritten) {
  for (const auto& [text, read] : std::initializer_list<Case>{
           {"https://provider.example/v1", "https provider.example"},
           {"http://[::1]:8080", "http [::1]"},
           {"https://1.2.3.4.nip.test/v1", "https 1.2.3.4.nip.test"},
           {"https://127.0.0.1.example.test", "https 127.0.0.1.example.test"},
           {"https://bücher.example/v1", "https bücher.example"},
           {"HTTPS://h", "HTTPS h"},
           {"ftp://h", "ftp h"},
           {"//h/a", " h"},
           {"https:///v1", "https "},
           {"https://:443/v1", "none"},
           {"https:/responses", "https"},
           {"https:v1", "https"},
           {"/responses", ""},
           {"provider.example/v1", ""},
           {"://h", ""},
           {"http://h:8x/", "none"},
           {"http://[::1/v1", "none"},
           {"http://a b/", "none"},
           {"http://h\x7F/", "none"},
       }) {
    const auto parsed = parseURL(text);
    const std::string host = parsed && parsed->host ? " " + *parsed->host : "";
    EXPECT_EQ(parsed ? parsed->scheme + host : "none", read) << text;
  }
}

}  // namespace
}  // namespace ferrin::providertest
