#include "core/NameOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace ferrin::core {
namespace {

TEST(NameOrder, isThatOfAFileBrowserInTheUsersLanguageAndNeverThatOfBytes) {
  struct Row {
    const char *all, *collate, *language;
    std::vector<std::string> sorted;
  };
  for (const auto& [all, collate, language, sorted] :
       {Row{"", "", "sv_SE.UTF-8", {"Azur", "Zeta", "Örebro", "Östersund"}},
        {"", "zh_CN@pinyin", "en_GB", {"阿里", "北京", "默认", "中国"}},
        {"C.UTF-8",
         "sv_SE",
         "",
         {"", "1", "a2", "a010", "álpha 1", "alpha 2", "Alpha 3", "beta", "Beta", "b\xFF"}}}) {
    setenv("LC_ALL", all, 1);
    setenv("LC_COLLATE", collate, 1);
    setenv("LANG", language, 1);
    const NameOrder before;
    EXPECT_TRUE(std::ranges::is_sorted(sorted, std::cref(before))) << sorted[0];
  }
}

}  // namespace
}  // namespace ferrin::core
