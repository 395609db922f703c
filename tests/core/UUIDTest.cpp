#include "core/UUID.h"

#include <gtest/gtest.h>

namespace ferrin::core {
namespace {

TEST(UUID, takesTheCanonicalFormAloneAndGivesUpperCase) {
  const std::string canonical = "3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73";
  EXPECT_EQ(UUID::parse("3f2a9c1e-7b44-4d0a-9e61-2c5b8a0f1d73").value().text(), canonical);
  for (const std::string& bad : {canonical + " ", canonical.substr(1), "3F2A9C1E07B44" + canonical.substr(13),
                                 "3F2A9C1--7B44" + canonical.substr(13), "3F2A9C1G" + canonical.substr(8)}) {
    EXPECT_FALSE(UUID::parse(bad)) << bad;
  }
  const UUID id = UUID::random();
  EXPECT_NE(id, UUID::random());
  EXPECT_EQ(UUID::parse(id.text()), id);
}

}  // namespace
}  // namespace ferrin::core
