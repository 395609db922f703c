#include "agentconfig/ConfigurationLine.h"

#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <vector>

namespace ferrin::agentconfig {
namespace {

using Rows = std::vector<std::pair<std::string, std::string>>;

TEST(ReplaceLine, setsEveryAssignmentOrAddsAFirstLine) {
  const std::string plain = "model = \"new\"";
  for (const auto& [text, result] : Rows{
           {"# 说明 🚀\nmodel=\"old\" # é\n[t]\na = 1\n", "# 说明 🚀\n" + plain + "\n[t]\na = 1\n"},
           {"model\t=\t1\n[t]\nmodel = 2", plain + "\n[t]\n" + plain},
           {"model = 1\r\nb = 2\r\n", plain + "\r\nb = 2\r\n"},
           {"a\u2028model = 1\u2028b\u0085model = 2\rc", "a\u2028" + plain + "\u2028b\u0085" + plain + "\rc"},
           {"model\n= 1\nb = 2", plain + "\nb = 2"},
           {"model =\nb = 2\nc = 3", plain + "\nc = 3"},
       }) {
    EXPECT_EQ(replaceLine(text, "model", "new"), result);
  }
  for (const std::string other :
       {"", "  model = 1\n", "# model = 1\n", "model_x = 1\n", "mode = 1\n", "model\n", "Model = 1"}) {
    EXPECT_EQ(replaceLine(other, "model", "new"), "model = \\\"new\\\"\n" + other);
  }
}

TEST(ReplaceLine, readsTheKeyAsAQuotedExpressionAndTheValueAsATemplate) {
  for (const auto& [text, key, value, result] : {
           std::array<std::string, 4>{"axb = 1\na.b = 2", "a.b", "v", "axb = 1\na.b = \"v\""},
           {"aXb = 1", "a\\E.\\Qb", "v", "aE.Qb = \"v\""},
           {"a = 1", "a\\E(", "v", "a = 1"},
           {"k = 1", "k", "<$0> a$1b$9c", "k = \"<k = 1> abc\""},
           {"kab = 1", "k\\E(a)b\\Q", "$1$10", "kE(a)bQ = \"aa0\""},
           {"k = 1", "k", "$ $x $", "k = \"$ $x $\""},
           {"k = 1", "k", "\\$0 \\\\ \\n", "k = \"$0 \\ n\""},
           {"", "k", "$0\\", "k = \\\"$0\\\\\"\n"},
       }) {
    EXPECT_EQ(replaceLine(text, key, value), result) << text << ", " << key;
  }
}

TEST(RemoveRootLine, removesEveryAssignmentWithItsLineFeed) {
  for (const auto& [text, result] : Rows{
           {"key=1\n[t]\nkey = 2\nc = 3\n", "[t]\nc = 3\n"},
           {"a = 1\nkey = 2", "a = 1\n"},
           {"  key = 1\nkeys = 2\n", "  key = 1\nkeys = 2\n"},
           {"a\r\nkey = 1\r\nb\r\n", "a\r\n\r\nb\r\n"},
           {"key\n= 1\n\n\nb = 2", "\n\nb = 2"},
       }) {
    EXPECT_EQ(removeRootLine(text, "key"), result);
  }
  EXPECT_EQ(removeRootLine("a = 1", "a\\E("), "a = 1") << "a key that makes no expression";
}

TEST(ReplaceLine, takesTenMebibytesInSeconds) {
  constexpr std::size_t tenMiB = 10 << 20;
  const std::string added = "k = \\\"v\\\"\n";
  for (const auto& [text, result] : Rows{
           {"k = " + std::string(tenMiB, 'x'), "k = \"v\""},
           {"k =" + std::string(tenMiB, ' '), "k = \"v\""},
           {"k" + std::string(tenMiB, ' '), added + "k" + std::string(tenMiB, ' ')},
           {"k" + std::string(tenMiB, '\n'), added + "k" + std::string(tenMiB, '\n')},
       }) {
    const std::clock_t start = std::clock();
    EXPECT_TRUE(replaceLine(text, "k", "v") == result) << text.substr(0, 20);
    // Sanitized, and beside another test; quadratic is minutes.
    EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC) << text.substr(0, 20);
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
