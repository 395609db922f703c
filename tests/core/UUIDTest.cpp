#include "core/UUID.h"

#include <gtest/gtest.h>

namespace ferrin::core {
namespace {

TEST(UUID, takesTheCanonicalFormAloneAndGivesUpperCase) {
  const std::string canonical = "3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73";
  struct Row {
    const char* name;
    std::string input;
    std::string result;
  };
  const Row rows[] = {
      {"upper case", canonical, canonical},
      {"lower case", "3f2a9c1e-7b44-4d0a-9e61-2c5b8a0f1d73", canonical},
      {"empty", "", "none"},
      {"braces", "{" + canonical + "}", "none"},
      {"no hyphens", "3F2A9C1E7B444D0A9E612C5B8A0F1D73", "none"},
      {"a hyphen misplaced", "3F2A9C1-E7B44-4D0A-9E61-2C5B8A0F1D73", "none"},
      {"a hyphen for a digit", "3F2A9C1--7B44-4D0A-9E61-2C5B8A0F1D73", "none"},
      {"no hexadecimal digit", "3F2A9C1G-7B44-4D0A-9E61-2C5B8A0F1D73", "none"},
      {"a blank behind", canonical + " ", "none"},
      {"one short", canonical.substr(1), "none"},
  };
  for (const Row& row : rows) {
    const auto id = UUID::parse(row.input);
    EXPECT_EQ(id ? id->text() : "none", row.result) << row.name;
  }
}

TEST(UUID, randomOnesDifferAndSurviveTheirText) {
  const UUID id = UUID::random();
  EXPECT_NE(id, UUID::random());
  EXPECT_EQ(UUID::parse(id.text()), id);
  EXPECT_EQ(id.text()[14], '4');
}

}  // namespace
}  // namespace ferrin::core
