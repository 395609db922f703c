#include "core/NameOrder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <vector>

namespace ferrin::core {
namespace {

TEST(NameOrder, isThatOfAFileBrowser) {
  struct Row {
    const char *name, *locale;
    std::vector<std::string> sorted;
  };
  const Row rows[] = {
      {"digits by value", "", {"", " ", "a2", "a010", "a10000000000000000000000", "b\xFF"}},
      {"case and accents decide last", "en_US", {"alpha", "Álpha 1", "alpha 2", "Alpha 3", "beta", "Beta"}},
      {"Swedish alphabet", "sv_SE", {"Azur", "Zeta", "Örebro", "Östersund"}},
      {"German: ö before z", "de_DE", {"Örebro", "Zeta"}},
      {"Chinese by pinyin", "zh_CN", {"阿里", "北京", "默认", "中国"}},
      {"emoji before letters", "en_US", {"🚀 fast", "1", "a", "默认"}},
  };
  const NameOrder english("en_US");
  EXPECT_FALSE(english("\u1EA1\u0301", "a\u0301\u0323")) << "one name in two spellings";
  EXPECT_FALSE(english("a\u0301\u0323", "\u1EA1\u0301")) << "one name in two spellings";
  for (const Row& row : rows) {
    const NameOrder before(row.locale);
    for (std::size_t index = 1; index < row.sorted.size(); ++index) {
      EXPECT_TRUE(before(row.sorted[index - 1], row.sorted[index])) << row.name << ", " << row.sorted[index];
      EXPECT_FALSE(before(row.sorted[index], row.sorted[index - 1])) << row.name << ", " << row.sorted[index];
    }
  }
}

TEST(UserLocale, isTheFirstThatIsSetAndNeverTheOrderOfBytes) {
  const std::array<const char*, 4> rows[] = {
      // LC_ALL, LC_COLLATE, LANG, result
      {"", "", "sv_SE.UTF-8", "sv_SE"},
      {"", "de_DE@euro", "en_GB", "de_DE"},
      {"zh_CN", "de_DE", "en_GB", "zh_CN"},
      {"C.UTF-8", "de_DE", "en_GB", ""},
      {"", "", "POSIX", ""},
      {"", "", "", ""},
  };
  for (const auto& [all, collate, language, result] : rows) {
    setenv("LC_ALL", all, 1);
    setenv("LC_COLLATE", collate, 1);
    setenv("LANG", language, 1);
    EXPECT_EQ(userLocale(), result) << all << ", " << collate << ", " << language;
  }
  const NameOrder before;
  EXPECT_TRUE(before("a2", "A10") && before("a10", "B"));
}

}  // namespace
}  // namespace ferrin::core
