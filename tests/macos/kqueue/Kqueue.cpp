// A model of kqueue(2) over epoll(7) and inotify(7): what the relay has for macOS runs on it on Linux. The
// program is linked with calls redirected to the __wrap_ functions (CMakeLists.txt), as epoll doesn't forget
// a descriptor whose file is still open under another number.

#include <linux/tcp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/event.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <utility>

extern "C" int __real_close(int descriptor);

namespace {

using Key = std::pair<int, int>;  // a descriptor or another number, and a filter

struct Knote {
  struct kevent registered;
  unsigned flags = 0, fflags = 0;  ///< to be reported
  bool active = false;
  int watch = -1;  ///< of inotify
  off_t size = 0;
  std::uint64_t acknowledged = 0;  ///< bytes
};

struct Queue {
  int all = 0;  ///< has those below; its number is the queue's
  int readers = 0, writers = 0, changes = 0, pokes = 0;
  std::map<Key, Knote> knotes = {};
  std::deque<Key> active = {};
};

struct Model {
  std::mutex mutex;
  std::map<int, Queue> queues;
  std::array<std::atomic<int>, 65536> pokes{};  ///< of each queue, for signal handlers
};

Model& model() {
  static Model& made = *new Model;  // files may be closed after the end of main
  return made;
}

constexpr std::uint64_t userTrigger = std::uint64_t{1} << 32;      // less is a poke to gather() alone
constexpr unsigned nameChanges = IN_CREATE | IN_DELETE | IN_MOVE;  // in a folder

void poke(int pokes, std::uint64_t amount) { static_cast<void>(write(pokes, &amount, sizeof amount)); }

int listen(int epoll, int descriptor, unsigned events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = descriptor;
  const bool added = epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0 ||
                     (errno == EEXIST && epoll_ctl(epoll, EPOLL_CTL_MOD, descriptor, &event) == 0);
  return added ? 0 : errno;
}

void activate(Queue& queue, const Key& key, unsigned flags, unsigned fflags) {
  const auto found = queue.knotes.find(key);
  if (found == queue.knotes.end()) return;
  Knote& knote = found->second;
  knote.flags |= flags;
  knote.fflags |= fflags;
  if (!std::exchange(knote.active, true)) queue.active.push_back(key);
}

/// A hang-up of epoll's is the end of both directions. The error stays where it is: getsockopt(2) would take
/// it.
void gatherSockets(Queue& queue, int epoll, int filter, std::size_t room) {
  std::array<epoll_event, 256> found;
  if (queue.active.size() >= room) return;
  const auto most = static_cast<int>(std::min(room - queue.active.size(), found.size()));
  const int count = epoll_wait(epoll, found.data(), most, 0);
  for (int at = 0; at < count; ++at) {
    const auto& [events, data] = found[static_cast<std::size_t>(at)];
    const unsigned ends = EPOLLERR | EPOLLHUP | (filter == EVFILT_READ ? EPOLLRDHUP : 0U);
    activate(queue, {data.fd, filter}, (events & ends) != 0 ? EV_EOF : 0,
             (events & EPOLLERR) != 0 ? ECONNRESET : 0);
  }
}

/// What has happened to an open file, whose name may be gone by now.
unsigned notesOf(int descriptor, Knote& knote, unsigned events) {
  struct stat now {};
  fstat(descriptor, &now);
  unsigned notes = (events & IN_MOVE_SELF) != 0 ? NOTE_RENAME : 0;
  if ((events & (IN_MODIFY | nameChanges)) != 0) notes |= NOTE_WRITE;
  if ((events & IN_ATTRIB) != 0) notes |= now.st_nlink == 0 ? NOTE_DELETE : NOTE_ATTRIB;
  if (S_ISREG(now.st_mode) && now.st_size > std::exchange(knote.size, now.st_size)) notes |= NOTE_EXTEND;
  return notes & knote.registered.fflags;
}

void gatherChanges(Queue& queue) {
  alignas(inotify_event) std::array<char, 4096> bytes;
  for (ssize_t size; (size = read(queue.changes, bytes.data(), bytes.size())) > 0;) {
    for (ssize_t at = 0; at < size;) {
      const auto* event = reinterpret_cast<inotify_event*>(bytes.data() + at);
      at += static_cast<ssize_t>(sizeof *event + event->len);
      const unsigned mask = event->mask & (event->len > 0 ? nameChanges : ~0U);  // not of what is in a folder
      for (auto& [key, knote] : queue.knotes) {
        const unsigned notes = knote.watch == event->wd ? notesOf(key.first, knote, mask) : 0;
        if (notes != 0) activate(queue, key, 0, notes);
      }
    }
  }
}

tcp_info stateOf(int socket) {
  tcp_info state{};
  socklen_t size = sizeof state;
  getsockopt(socket, IPPROTO_TCP, TCP_INFO, &state, &size);
  return state;
}

/// Room in its buffer is reported with every acknowledgement, of which epoll tells nothing. Whether more may
/// come.
bool gatherAcknowledgements(Queue& queue) {
  bool mayCome = false;
  for (auto& [key, knote] : queue.knotes) {
    if (key.second != EVFILT_WRITE) continue;
    const tcp_info now = stateOf(key.first);
    pollfd room{key.first, POLLOUT, 0};
    if (std::exchange(knote.acknowledged, now.tcpi_bytes_acked) < now.tcpi_bytes_acked &&
        poll(&room, 1, 0) == 1)
      activate(queue, key, 0, 0);
    mayCome = mayCome || now.tcpi_unacked > 0;
  }
  return mayCome;
}

void gatherPokes(Queue& queue) {
  std::uint64_t poked = 0;
  const bool any = read(queue.pokes, &poked, sizeof poked) > 0;
  if (any && poked >= userTrigger) activate(queue, {0, EVFILT_USER}, 0, 0);
}

/// Whether more may come that can't be waited for.
bool gather(Queue& queue, std::size_t room) {
  gatherPokes(queue);
  gatherChanges(queue);
  const bool acknowledgementMayCome = gatherAcknowledgements(queue);
  gatherSockets(queue, queue.writers, EVFILT_WRITE, room);
  gatherSockets(queue, queue.readers, EVFILT_READ, room);
  return acknowledgementMayCome;
}

/// Ahead of a change of what is watched: what has come so far is for those who watched by then, and the queue
/// stays readable as long as anything is active.
void settle(Queue& queue) {
  gatherPokes(queue);
  gatherChanges(queue);
  if (!queue.active.empty()) poke(queue.pokes, 1);
}

/// Moves what is active into `events`.
int take(Queue& queue, struct kevent* events, int room) {
  int count = 0;
  for (; count < room && !queue.active.empty(); queue.active.pop_front()) {
    const auto found = queue.knotes.find(queue.active.front());
    if (found == queue.knotes.end() || !std::exchange(found->second.active, false)) continue;
    Knote& knote = found->second;
    if (knote.registered.filter == EVFILT_USER && (knote.registered.flags & EV_CLEAR) == 0)
      poke(queue.pokes, userTrigger);
    events[count] = knote.registered;
    events[count].flags |= static_cast<std::uint16_t>(std::exchange(knote.flags, 0));
    events[count++].fflags = std::exchange(knote.fflags, 0);
    if ((knote.registered.flags & EV_ONESHOT) != 0) queue.knotes.erase(found);
  }
  return count;
}

void unwatch(Queue& queue, int watch) {
  const bool shared = std::any_of(queue.knotes.begin(), queue.knotes.end(),
                                  [watch](const auto& entry) { return entry.second.watch == watch; });
  if (watch >= 0 && !shared) inotify_rm_watch(queue.changes, watch);
  settle(queue);
}

void forget(Queue& queue, int descriptor) {
  for (const int epoll : {queue.readers, queue.writers}) epoll_ctl(epoll, EPOLL_CTL_DEL, descriptor, nullptr);
  for (const int filter : {EVFILT_READ, EVFILT_WRITE, EVFILT_VNODE}) {
    const auto found = queue.knotes.find({descriptor, filter});
    if (found == queue.knotes.end()) continue;
    std::erase(queue.active, found->first);
    const int watch = found->second.watch;
    queue.knotes.erase(found);
    if (filter == EVFILT_VNODE) unwatch(queue, watch);
  }
}

int watchFile(Queue& queue, int descriptor, Knote& knote) {
  settle(queue);
  struct stat status {};
  fstat(descriptor, &status);
  knote.size = status.st_size;
  knote.watch = inotify_add_watch(queue.changes, ("/proc/self/fd/" + std::to_string(descriptor)).c_str(),
                                  IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | nameChanges);
  return knote.watch < 0 ? errno : 0;
}

/// The error, or 0. A queue can be read and not written, as xnu's kqueue_kqfilter has it.
int add(Queue& queue, const struct kevent& change) {
  const int descriptor = static_cast<int>(change.ident);
  Knote knote{.registered = change};
  const unsigned once = (change.flags & EV_CLEAR) != 0 ? EPOLLET : 0U;
  int error = 0;
  if (change.filter == EVFILT_VNODE) error = watchFile(queue, descriptor, knote);
  if (change.filter == EVFILT_READ) error = listen(queue.readers, descriptor, EPOLLIN | EPOLLRDHUP | once);
  knote.acknowledged = change.filter == EVFILT_WRITE ? stateOf(descriptor).tcpi_bytes_acked : 0;
  if (change.filter == EVFILT_WRITE)
    error = model().queues.contains(descriptor) ? EINVAL : listen(queue.writers, descriptor, EPOLLOUT | once);
  if (error == 0) queue.knotes[{descriptor, change.filter}] = knote;
  return error;
}

long long milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec * 1000LL + now.tv_nsec / 1'000'000;
}

int wait(int number, struct kevent* events, int room, const timespec* timeout) {
  const long long end =
      timeout == nullptr ? 0 : milliseconds() + timeout->tv_sec * 1000 + timeout->tv_nsec / 1'000'000;
  for (long long slice = 1;; slice *= 2) {
    long long pause = timeout == nullptr ? -1 : std::max(end - milliseconds(), 0LL);
    {
      const std::lock_guard lock(model().mutex);
      const bool acknowledgementMayCome = gather(model().queues.at(number), static_cast<std::size_t>(room));
      if (const int count = take(model().queues.at(number), events, room); count > 0 || pause == 0)
        return count;
      if (acknowledgementMayCome && slice < 100) pause = pause < 0 ? slice : std::min(slice, pause);
    }
    epoll_event any{};
    if (epoll_wait(number, &any, 1, static_cast<int>(pause)) < 0) return -1;
  }
}

}  // namespace

extern "C" {

int kqueue() {
  Queue queue{epoll_create1(0), epoll_create1(0), epoll_create1(0), inotify_init1(IN_NONBLOCK | IN_CLOEXEC),
              eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
  for (const int part : {queue.readers, queue.writers, queue.changes, queue.pokes}) {
    if (listen(queue.all, part, EPOLLIN) != 0) return -1;
  }
  const std::lock_guard lock(model().mutex);
  model().pokes.at(static_cast<std::size_t>(queue.all)) = queue.pokes;
  model().queues[queue.all] = queue;
  return queue.all;
}

int kevent(int queue, const struct kevent* changes, int changeCount, struct kevent* events, int eventCount,
           const timespec* timeout) {
  for (int at = 0; at < changeCount; ++at) {
    if ((changes[at].fflags & NOTE_TRIGGER) != 0) {
      poke(model().pokes[static_cast<std::size_t>(queue)], userTrigger);
      continue;
    }
    const std::lock_guard lock(model().mutex);
    errno = add(model().queues.at(queue), changes[at]);
    if (errno != 0) return -1;
  }
  return eventCount == 0 ? 0 : wait(queue, events, eventCount, timeout);
}

int __wrap_close(int descriptor) {
  const std::lock_guard lock(model().mutex);
  if (const auto closed = model().queues.extract(descriptor)) {
    const Queue& queue = closed.mapped();
    for (const int part : {queue.readers, queue.writers, queue.changes, queue.pokes}) __real_close(part);
  }
  for (auto& [number, queue] : model().queues) forget(queue, descriptor);
  return __real_close(descriptor);
}
}
