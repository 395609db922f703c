#include <gtest/gtest.h>

#include <stdexcept>

#include "relay/managers/LaunchdManager.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;

TEST(PropertyList, refusesWhatXMLCannotHold) {
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s})
    EXPECT_THROW(propertyList({"label", {bad}, "/log"}), std::invalid_argument) << bad;
}

}  // namespace
}  // namespace ferrin::relay
