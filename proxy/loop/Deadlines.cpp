#include "proxy/loop/Deadlines.h"

#include <algorithm>

namespace ferrin::proxy {

using std::chrono::milliseconds;

/// What every system can count.
constexpr milliseconds longestWait = std::chrono::hours(24);

void Deadline::start(DeadlineList& onto) {
  unlink();
  list = &onto;
  due = onto.deadlines.now() + onto.length;
  onto.entries.push_back(*this);
}

void Deadline::renew() {
  if (!is_linked()) return;
  due = list->deadlines.now() + list->length;
  list->entries.splice(list->entries.end(), list->entries, Deadlines::Entries::s_iterator_to(*this));
}

DeadlineList::DeadlineList(Deadlines& owner, milliseconds limit) : deadlines(owner), length(limit) {
  owner.lists.push_back(this);
}

std::optional<milliseconds> Deadlines::untilNext() {
  next = Clock::time_point::max();
  for (const DeadlineList* list : lists) {
    if (!list->entries.empty()) next = std::min(next, list->entries.front().due);
  }
  if (next == Clock::time_point::max()) return std::nullopt;
  return std::clamp(std::chrono::ceil<milliseconds>(next - current), milliseconds(0), longestWait);
}

void Deadlines::expireDue() {
  if (current < next) return;
  for (DeadlineList* list : lists) {
    while (!list->entries.empty() && list->entries.front().due <= current) {
      Deadline& deadline = list->entries.front();
      deadline.unlink();
      const auto callback = deadline.expired;  // a copy: the callback may end the deadline
      callback();
    }
  }
}

}  // namespace ferrin::proxy
