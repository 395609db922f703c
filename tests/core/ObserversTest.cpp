#include "core/Observers.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace ferrin::core {
namespace {

TEST(Observers, areToldInTheirOrderUntilTheirSubscriptionEnds) {
  Observers<int> observers;
  std::string told;
  Subscription first = observers.add([&told](int value) { told += "a" + std::to_string(value); });
  {
    const Subscription second = observers.add([&told](int value) { told += "b" + std::to_string(value); });
    observers.notify(1);
  }
  observers.notify(2);
  first = Subscription();
  observers.notify(3);
  EXPECT_EQ(told, "a1b1a2");
}

TEST(Observers, mayComeAndGoWhileTheyAreTold) {
  auto observers = std::make_unique<Observers<>>();
  std::string told;
  Subscription later;
  Subscription third;
  Subscription second;
  Subscription first = observers->add([&] {
    told += "1";
    first = Subscription();
    second = Subscription();
    later = observers->add([&told] { told += "4"; });
  });
  second = observers->add([&told] { told += "2"; });
  third = observers->add([&told] { told += "3"; });
  observers->notify();
  EXPECT_EQ(told, "13");
  observers->notify();
  EXPECT_EQ(told, "1334");
  const Subscription last = observers->add([&observers] { observers.reset(); });
  observers->notify();
  EXPECT_EQ(told, "133434");
}

}  // namespace
}  // namespace ferrin::core
