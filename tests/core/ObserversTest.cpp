#include "core/Observers.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace ferrin::core {
namespace {

TEST(Observers, areToldInTheirOrderAndMayComeAndGoMeanwhile) {
  std::optional<Observers<>> observers(std::in_place);
  std::string told;
  const auto add = [&](char name) { return observers->add([&told, name] { told += name; }); };
  std::vector<Subscription> later;
  Subscription second;
  Subscription first = observers->add([&] {
    told += 'a';
    first = Subscription();
    second = Subscription();
    while (later.size() < 20) later.push_back(add('d'));
  });
  second = add('b');
  const Subscription third = add('c');
  observers->notify();
  later.resize(1);
  const Subscription last = observers->add([&observers] { observers.reset(); });
  observers->notify();
  EXPECT_EQ(told, "accd");
}

}  // namespace
}  // namespace ferrin::core
