#include "agentconfig/ConfigurationLine.h"

#include <gtest/gtest.h>

#include <ctime>
#include <vector>

namespace ferrin::agentconfig {
namespace {

using Rows = std::vector<std::pair<std::string, std::string>>;

TEST(ReplaceLine, setsEveryAssignmentOrAddsAFirstLine) {
  const std::string plain = "model = \"new\"";
  for (const auto& [text, result] : Rows{
           {"model = \"old\"\n[t]\na = 1\n", plain + "\n[t]\na = 1\n"},
           {"model=old", plain},
           {"model\t=\t1\n[t]\nmodel = 2", plain + "\n[t]\n" + plain},
           {"model = 1\r\nb = 2\r\n", plain + "\r\nb = 2\r\n"},
           {"a\u2028model = 1\u2028b\u0085model = 2\rc", "a\u2028" + plain + "\u2028b\u0085" + plain + "\rc"},
           {"model\n= 1\nb = 2", plain + "\nb = 2"},
           {"model =\nb = 2\nc = 3", plain + "\nc = 3"},
           {"# 说明 🚀\nmodel = \"默认\" # é\n", "# 说明 🚀\n" + plain + "\n"},
       }) {
    EXPECT_EQ(replaceLine(text, "model", "new"), result);
  }
  for (const std::string other : {"", "[t]\n", "  model = 1\n", "# model = 1\n", "model_x = 1\n",
                                  "mode = 1\n", "model\n", "Model = 1"}) {
    EXPECT_EQ(replaceLine(other, "model", "new"), "model = \\\"new\\\"\n" + other);
  }
}

TEST(ReplaceLine, readsTheKeyAsAQuotedExpressionAndTheValueAsATemplate) {
  struct Row {
    const char* name;
    std::string text, key, value, result;
  };
  const Row rows[] = {
      {"dots are literal", "axb = 1\na.b = 2", "a.b", "v", "axb = 1\na.b = \"v\""},
      {"brackets are literal", "a[0] = 2", "a[0]", "v", "a[0] = \"v\""},
      {"key that ends the quoting", "aXb = 1", "a\\E.\\Qb", "v", "aE.Qb = \"v\""},
      {"key that makes no expression", "a = 1", "a\\E(", "v", "a = 1"},
      {"$0 is the match", "k = 1", "k", "<$0>", "k = \"<k = 1>\""},
      {"a group that isn't there", "k = 1", "k", "a$1b$9c", "k = \"abc\""},
      {"a group of the key's own", "kab = 1", "k\\E(a)b\\Q", "$1$10", "kE(a)bQ = \"aa0\""},
      {"$ alone", "k = 1", "k", "$ $x $", "k = \"$ $x $\""},
      {"an escaped $", "k = 1", "k", "\\$0 \\\\ \\n", "k = \"$0 \\ n\""},
      {"not read when a line is added", "", "k", "$0\\", "k = \\\"$0\\\\\"\n"},
  };
  for (const Row& row : rows) EXPECT_EQ(replaceLine(row.text, row.key, row.value), row.result) << row.name;
}

TEST(RemoveRootLine, removesEveryAssignmentWithItsLineFeed) {
  for (const auto& [text, result] : Rows{
           {"a = 1\nkey = 2\nb = 3", "a = 1\nb = 3"},
           {"key=1\n[t]\nkey = 2\nc = 3\n", "[t]\nc = 3\n"},
           {"a = 1\nkey = 2", "a = 1\n"},
           {"  key = 1\nkeys = 2\n", "  key = 1\nkeys = 2\n"},
           {"a\r\nkey = 1\r\nb\r\n", "a\r\n\r\nb\r\n"},
           {"key\n= 1\nb = 2", "b = 2"},
           {"key = 1\n\n\nb", "\n\nb"},
       }) {
    EXPECT_EQ(removeRootLine(text, "key"), result);
  }
  EXPECT_EQ(removeRootLine("a = 1", "a\\E("), "a = 1") << "a key that makes no expression";
}

TEST(ReplaceLine, takesTenMebibytesInSeconds) {
  constexpr std::size_t tenMiB = 10 << 20;
  std::string lines;
  while (lines.size() < tenMiB) lines += "some_key = \"value\"\n";
  const std::string added = "k = \\\"v\\\"\n";
  const Rows rows{
      {lines, added + lines},
      {"k = " + std::string(tenMiB, 'x'), "k = \"v\""},
      {"k =" + std::string(tenMiB, ' '), "k = \"v\""},
      {"k" + std::string(tenMiB, ' '), added + "k" + std::string(tenMiB, ' ')},
      {"k" + std::string(tenMiB, '\n'), added + "k" + std::string(tenMiB, '\n')},
  };
  for (const auto& [text, result] : rows) {
    const std::clock_t start = std::clock();
    EXPECT_TRUE(replaceLine(text, "k", "v") == result) << text.substr(0, 20);
    // Sanitized, and beside another test; quadratic is minutes.
    EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC) << text.substr(0, 20);
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
