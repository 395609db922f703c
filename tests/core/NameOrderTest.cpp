#include "core/NameOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <vector>

namespace ferrin::core {
namespace {

TEST(NameOrder, isThatOfAFileBrowser) {
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"", {"", " ", "a2", "a010", "a10000000000000000000000", "b\xFF"}},
      {"en_US", {"1", "alpha", "Álpha 1", "alpha 2", "Alpha 3", "beta", "Beta", "默认"}},
      {"sv_SE", {"Azur", "Zeta", "Örebro", "Östersund"}},
      {"zh_CN", {"阿里", "北京", "默认", "中国"}},
  };
  for (const auto& [locale, sorted] : rows) {
    const NameOrder before(locale);
    const auto wrong = std::ranges::adjacent_find(sorted, std::not_fn(std::ref(before)));
    EXPECT_TRUE(wrong == sorted.end()) << locale << ", after " << *wrong;
    EXPECT_FALSE(before("\u1EA1\u0301", "a\u0301\u0323") || before("a\u0301\u0323", "\u1EA1\u0301"));
  }
}

TEST(UserLocale, isTheFirstThatIsSetAndNeverTheOrderOfBytes) {
  for (const auto& [all, collate, language, result] : {
           std::array{"", "", "sv_SE.UTF-8", "sv_SE"},
           {"", "de_DE@euro", "en_GB", "de_DE"},
           {"C.UTF-8", "de_DE", "en_GB", ""},
           {"", "", "POSIX", ""},
       }) {
    setenv("LC_ALL", all, 1);
    setenv("LC_COLLATE", collate, 1);
    setenv("LANG", language, 1);
    EXPECT_EQ(userLocale(), result) << all << ", " << collate << ", " << language;
  }
  EXPECT_TRUE(NameOrder()("a10", "B"));
}

}  // namespace
}  // namespace ferrin::core
