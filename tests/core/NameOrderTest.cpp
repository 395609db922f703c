#include "core/NameOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace ferrin::core {
namespace {

using Names = std::vector<std::string>;

TEST(NameOrder, isThatOfAFileBrowser) {
  struct Row {
    const char* name;
    const char* locale;
    Names sorted;
  };
  const Row rows[] = {
      {"digits by value", "", {"a2", "a10", "b"}},
      {"digits inside, leading zeros, long runs",
       "en_GB",
       {"Provider 2", "provider 010", "Provider 10000000000000000000000"}},
      {"case and accents decide last", "en_US", {"alpha", "Álpha 1", "alpha 2", "Alpha 3", "beta", "Beta"}},
      {"Swedish alphabet", "sv_SE", {"Azur", "Örebro", "Östersund"}},
      {"Swedish: z before ö", "sv_SE", {"Zeta", "Örebro"}},
      {"German: ö before z", "de_DE", {"Örebro", "Zeta"}},
      {"Chinese by pinyin", "zh_CN", {"阿里", "北京", "默认", "中国"}},
      {"emoji before letters", "en_US", {"🚀 fast", "1", "a", "默认"}},
      {"the empty name first", "", {"", " ", "a"}},
  };
  for (const Row& row : rows) {
    const NameOrder before(row.locale);
    for (std::size_t index = 1; index < row.sorted.size(); ++index) {
      EXPECT_TRUE(before(row.sorted[index - 1], row.sorted[index])) << row.name << ", " << row.sorted[index];
      EXPECT_FALSE(before(row.sorted[index], row.sorted[index - 1])) << row.name << ", " << row.sorted[index];
    }
  }
}

TEST(NameOrder, seesOneNameInTwoSpellings) {
  const NameOrder before("en_US");
  const std::string composed = "\u1EA1\u0301";
  const std::string decomposed = "a\u0301\u0323";
  EXPECT_FALSE(before(composed, decomposed));
  EXPECT_FALSE(before(decomposed, composed));
}

TEST(NameOrder, takesAnyBytes) {
  const NameOrder before("en_US");
  EXPECT_FALSE(before("a\xFF", "a\xFF"));
  EXPECT_TRUE(before("a\xFF", "b") || before("b", "a\xFF"));
}

TEST(UserLocale, isTheFirstThatIsSetAndNeverTheOrderOfBytes) {
  struct Row {
    const char* name;
    const char *all, *collate, *lang;
    const char* result;
  };
  const Row rows[] = {
      {"language alone", "", "", "sv_SE.UTF-8", "sv_SE"},
      {"collation wins", "", "de_DE@euro", "en_GB", "de_DE"},
      {"all wins", "zh_CN", "de_DE", "en_GB", "zh_CN"},
      {"the order of bytes", "C.UTF-8", "de_DE", "en_GB", ""},
      {"POSIX", "", "", "POSIX", ""},
      {"none", "", "", "", ""},
  };
  for (const Row& row : rows) {
    setenv("LC_ALL", row.all, 1);
    setenv("LC_COLLATE", row.collate, 1);
    setenv("LANG", row.lang, 1);
    EXPECT_EQ(userLocale(), row.result) << row.name;
  }
  const NameOrder before;
  EXPECT_TRUE(before("a2", "A10") && before("a10", "B"));
}

}  // namespace
}  // namespace ferrin::core
