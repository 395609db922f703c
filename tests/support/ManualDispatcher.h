#pragma once
// A dispatcher whose two queues run when the test says so, in order, on the test's own thread.

#include <deque>
#include <utility>

#include "app/Dispatcher.h"

namespace ferrin::tests {

class ManualDispatcher : public app::Dispatcher {
 public:
  void inBackground(Work work) override { background.push_back(std::move(work)); }
  void onMain(Work work) override { main.push_back(std::move(work)); }

  void runBackground() { runAll(background); }
  void runMain() { runAll(main); }
  bool idle() const { return background.empty() && main.empty(); }

 private:
  static void runAll(std::deque<Work>& queue) {
    while (!queue.empty()) {
      const Work next = std::move(queue.front());
      queue.pop_front();
      next();
    }
  }

  std::deque<Work> background;
  std::deque<Work> main;
};

}  // namespace ferrin::tests
