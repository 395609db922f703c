#include "proxy/upstream/NameLookups.h"

#include <netdb.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "proxy/loop/Timers.h"

namespace ferrin::proxy {
namespace {

/// How old a look-up may be for others to join it: many requests at once ask the system once, and an answer
/// that fails to come, from a network that has gone, holds up no request of the next one.
constexpr std::chrono::milliseconds joinable{250};

std::string messageOf(int error) {
  return error == EAI_SYSTEM ? std::generic_category().message(errno) : gai_strerror(error);
}

}  // namespace

Found lookUp(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int error = getaddrinfo(host.c_str(), nullptr, &hints, &list);
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);
  Found found;
  if (error != 0) found.problem = messageOf(error);
  for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
    Endpoints::value_type endpoint;
    if (entry->ai_addrlen > endpoint.capacity()) continue;
    std::memcpy(endpoint.data(), entry->ai_addr, entry->ai_addrlen);
    endpoint.resize(entry->ai_addrlen);
    endpoint.port(port);
    found.endpoints.push_back(endpoint);
  }
  return found;
}

/// A look-up that is under way. Its thread writes `found` before it posts finish(); everything else belongs
/// to the event loop's thread.
struct NameLookups::Lookup {
  Clock::time_point started = Clock::now();
  bool over = false;
  Found found;
  boost::intrusive::list<Wait, boost::intrusive::constant_time_size<false>> waiting;

  void finish() {
    over = true;
    while (!waiting.empty()) {
      Wait& wait = waiting.front();
      wait.unlink();
      wait.finished.set();
    }
  }
};

/// Where the threads deliver their results, for as long as the NameLookups exists.
struct NameLookups::Home {
  std::mutex mutex;
  EventLoop* loop;

  void deliver(std::shared_ptr<Lookup> lookup, Found found) {
    const std::lock_guard lock(mutex);
    if (loop == nullptr) return;
    lookup->found = std::move(found);
    loop->post([lookup = std::move(lookup)] { lookup->finish(); });
  }
};

NameLookups::NameLookups(EventLoop& loop, std::function<Found()> asked)
    : ask(std::move(asked)), home(std::make_shared<Home>()) {
  home->loop = &loop;
}

NameLookups::~NameLookups() {
  const std::lock_guard lock(home->mutex);
  home->loop = nullptr;
}

Task<Found> NameLookups::find(Wait& wait) {
  const bool joins = latest && !latest->over && Clock::now() - latest->started < joinable;
  if (!joins) {
    try {
      latest = begin();
    } catch (const std::system_error& error) {
      co_return Found{{}, error.what()};
    }
  }
  const std::shared_ptr<Lookup> lookup = latest;
  lookup->waiting.push_back(wait);
  co_await wait.finished.wait();
  wait.unlink();
  if (!lookup->over) co_return Found();
  co_return lookup->found;
}

/// Throws std::system_error when the system has no thread left.
std::shared_ptr<NameLookups::Lookup> NameLookups::begin() {
  auto lookup = std::make_shared<Lookup>();
  std::thread([to = home, question = ask, lookup] {
    try {
      to->deliver(lookup, question());
    } catch (const std::bad_alloc&) {
      // Without memory the answer is lost; those who wait for it run into their time limit.
    }
  }).detach();
  return lookup;
}

}  // namespace ferrin::proxy
