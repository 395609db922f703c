#include "core/Observers.h"

#include <gtest/gtest.h>

#include <string>

namespace ferrin::core {
namespace {

TEST(Observers, areToldInTheirOrderAndMayComeAndGoMeanwhile) {
  auto observers = std::make_unique<Observers<int>>();
  std::string told;
  const auto note = [&told](char name) {
    return [&told, name](int value) { told += name + std::to_string(value); };
  };
  std::vector<Subscription> later;
  Subscription second;
  Subscription first = observers->add([&](int value) {
    note('a')(value);
    first = Subscription();
    second = Subscription();
    while (later.size() < 20) later.push_back(observers->add(note('d')));
  });
  second = observers->add(note('b'));
  const Subscription third = observers->add(note('c'));
  observers->notify(1);
  later.resize(1);
  observers->notify(2);
  EXPECT_EQ(told, "a1c1c2d2");
  const Subscription last = observers->add([&observers](int) { observers.reset(); });
  observers->notify(3);
  EXPECT_FALSE(observers);
}

}  // namespace
}  // namespace ferrin::core
