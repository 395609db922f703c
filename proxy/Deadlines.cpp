#include "proxy/Deadlines.h"

namespace ferrin::proxy {

void Deadline::start(DeadlineList& onto) {
  unlink();
  list = &onto;
  due = Clock::now() + onto.length;
  onto.entries.push_back(*this);
  onto.deadlines.armFor(due);
}

void Deadline::renew() {
  if (!is_linked()) return;
  due = Clock::now() + list->length;
  list->entries.splice(list->entries.end(), list->entries, Deadlines::Entries::s_iterator_to(*this));
}

DeadlineList::DeadlineList(Deadlines& owner, std::chrono::milliseconds limit)
    : deadlines(owner), length(limit) {
  owner.lists.push_back(this);
}

void Deadlines::settle() {
  for (const DeadlineList* list : lists) {
    if (!list->entries.empty()) return;
  }
  armedFor = Clock::time_point::max();
  timer.cancel();
}

void Deadlines::armFor(Clock::time_point due) {
  if (due >= armedFor) return;
  armedFor = due;
  timer.expires_at(due);
  timer.async_wait([this](const boost::system::error_code& error) {
    if (!error) expireDue();
  });
}

void Deadlines::armForEarliest() {
  for (const DeadlineList* list : lists) {
    if (!list->entries.empty()) armFor(list->entries.front().due);
  }
}

void Deadlines::expireDue() {
  armedFor = Clock::time_point::max();
  const auto now = Clock::now();
  for (DeadlineList* list : lists) {
    while (!list->entries.empty() && list->entries.front().due <= now) {
      Deadline& deadline = list->entries.front();
      deadline.unlink();
      const auto callback = deadline.expired;  // a copy: the callback may end the deadline
      callback();
    }
  }
  armForEarliest();
}

}  // namespace ferrin::proxy
