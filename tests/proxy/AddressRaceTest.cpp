#include "proxy/AddressRace.h"

#include <gtest/gtest.h>

namespace ferrin::proxy {
namespace {

Endpoints endpoints(std::initializer_list<const char*> addresses) {
  Endpoints list;
  for (const char* address : addresses) list.emplace_back(boost::asio::ip::make_address(address), 1);
  return list;
}

TEST(Interleaved, letsTheFamiliesTakeTurns) {
  EXPECT_EQ(interleaved(endpoints({"::1", "::2", "::3", "10.0.0.1", "10.0.0.2"})),
            endpoints({"::1", "10.0.0.1", "::2", "10.0.0.2", "::3"}));
  EXPECT_EQ(interleaved(endpoints({"10.0.0.1", "::1"})), endpoints({"10.0.0.1", "::1"}));
}

}  // namespace
}  // namespace ferrin::proxy
