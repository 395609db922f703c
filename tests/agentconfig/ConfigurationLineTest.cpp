#include "agentconfig/ConfigurationLine.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace ferrin::agentconfig {
namespace {

struct Row {
  const char* name;
  std::string text, key, value, result;
};

TEST(ReplaceLine, setsEveryAssignmentOrAddsAFirstLine) {
  const std::string key = "model_provider";
  const std::string plain = "model_provider = \"openai\"";
  const std::string escaped = "model_provider = \\\"openai\\\"\n";
  const Row rows[] = {
      {"first line, before a table", "model_provider = \"custom\"\n[t]\na = 1\n", key, "openai",
       plain + "\n[t]\na = 1\n"},
      {"spacing is normalised", "model_provider=custom", key, "openai", plain},
      {"tabs", "model_provider\t=\t1\n", key, "openai", plain + "\n"},
      {"every match", "model_provider = 1\n[t]\nmodel_provider = 2", key, "openai",
       plain + "\n[t]\n" + plain},
      {"indented", "  model_provider = 1\n", key, "openai", escaped + "  model_provider = 1\n"},
      {"commented out", "# model_provider = 1\n", key, "openai", escaped + "# model_provider = 1\n"},
      {"a longer key", "model_provider_x = 1\n", key, "openai", escaped + "model_provider_x = 1\n"},
      {"a shorter key", "model = 1\n", key, "openai", escaped + "model = 1\n"},
      {"no equals sign", "model_provider\n", key, "openai", escaped + "model_provider\n"},
      {"another case", "Model_Provider = 1", key, "openai", escaped + "Model_Provider = 1"},
      {"empty text", "", key, "openai", escaped},
      {"added before a table header", "[t]\n", key, "openai", escaped + "[t]\n"},
      {"CR LF is kept", "model_provider = 1\r\nb = 2\r\n", key, "openai", plain + "\r\nb = 2\r\n"},
      {"other line ends", "a\u2028model_provider = 1\u2028b\u0085model_provider = 2\rc", key, "openai",
       "a\u2028" + plain + "\u2028b\u0085" + plain + "\rc"},
      {"equals sign on the next line", "model_provider\n= 1\nb = 2", key, "openai", plain + "\nb = 2"},
      {"value on the next line", "model_provider =\nb = 2\nc = 3", key, "openai", plain + "\nc = 3"},
      {"other languages around it", "# 说明 🚀\nmodel_provider = \"默认\" # é\n", key, "openai",
       "# 说明 🚀\n" + plain + "\n"},
      {"dots are literal", "axb = 1\na.b = 2", "a.b", "v", "axb = 1\na.b = \"v\""},
      {"brackets are literal", "a[0] = 2", "a[0]", "v", "a[0] = \"v\""},
      {"key that ends the quoting", "aXb = 1", "a\\E.\\Qb", "v", "aE.Qb = \"v\""},
      {"key that makes no expression", "a = 1", "a\\E(", "v", "a = 1"},
      {"$0 is the match", "k = 1", "k", "<$0>", "k = \"<k = 1>\""},
      {"a group that isn't there", "k = 1", "k", "a$1b$9c", "k = \"abc\""},
      {"a group of the key's own", "kab = 1", "k\\E(a)b\\Q", "$1$10", "kE(a)bQ = \"aa0\""},
      {"$ alone", "k = 1", "k", "$ $x $", "k = \"$ $x $\""},
      {"an escaped $", "k = 1", "k", "\\$0 \\\\ \\n", "k = \"$0 \\ n\""},
      {"a template is not read when a line is added", "", "k", "$0\\", "k = \\\"$0\\\\\"\n"},
  };
  for (const Row& row : rows) EXPECT_EQ(replaceLine(row.text, row.key, row.value), row.result) << row.name;
}

TEST(RemoveRootLine, removesEveryAssignmentWithItsLineFeed) {
  const std::string key = "openai_base_url";
  const Row rows[] = {
      {"in the middle", "a = 1\nopenai_base_url = 2\nb = 3", key, "", "a = 1\nb = 3"},
      {"last, no line feed", "a = 1\nopenai_base_url = 2", key, "", "a = 1\n"},
      {"in tables too", "openai_base_url=1\n[t]\nopenai_base_url = 2\nc = 3\n", key, "", "[t]\nc = 3\n"},
      {"no match", "  openai_base_url = 1\nopenai_base_urls = 2\n", key, "",
       "  openai_base_url = 1\nopenai_base_urls = 2\n"},
      {"empty text", "", key, "", ""},
      {"CR LF stays", "a\r\nopenai_base_url = 1\r\nb\r\n", key, "", "a\r\n\r\nb\r\n"},
      {"equals sign on the next line", "openai_base_url\n= 1\nb = 2", key, "", "b = 2"},
      {"only one line feed", "openai_base_url = 1\n\n\nb", key, "", "\n\nb"},
      {"key that makes no expression", "a = 1", "a\\E(", "", "a = 1"},
  };
  for (const Row& row : rows) EXPECT_EQ(removeRootLine(row.text, row.key), row.result) << row.name;
}

std::string repeated(const std::string& part) {
  constexpr std::size_t tenMiB = 10 << 20;
  std::string text = part;
  while (text.size() < tenMiB) text += std::string(text);
  return text.substr(0, tenMiB);
}

TEST(ReplaceLine, takesTenMebibytesInASecond) {
  const Row rows[] = {
      {"many lines without the key", repeated("some_key = \"value\"\n"), "k", "v",
       "k = \\\"v\\\"\n" + repeated("some_key = \"value\"\n")},
      {"one line", "k = " + repeated("x"), "k", "v", "k = \"v\""},
      {"blanks before the value", "k =" + repeated(" "), "k", "v", "k = \"v\""},
      {"blanks and no equals sign", "k" + repeated(" "), "k", "v", "k = \\\"v\\\"\nk" + repeated(" ")},
      {"empty lines and no equals sign", "k" + repeated("\n"), "k", "v", "k = \\\"v\\\"\nk" + repeated("\n")},
  };
  constexpr std::clock_t limit =
      5 * CLOCKS_PER_SEC;  // sanitized, and beside another test; quadratic is minutes
  for (const Row& row : rows) {
    const std::clock_t start = std::clock();
    const std::string result = replaceLine(row.text, row.key, row.value);
    EXPECT_LT(std::clock() - start, limit) << row.name;
    EXPECT_TRUE(result == row.result) << row.name << ": " << result.size() << " bytes";
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
