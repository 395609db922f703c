#include "bench/load/Requests.h"

#include <cstdio>
#include <deque>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/load/Http.h"
#include "bench/load/Loop.h"
#include "bench/load/Provider.h"
#include "bench/load/Runs.h"

namespace ferrin::bench {
namespace {

constexpr std::uint64_t warmUp = 300 * perMillisecond;

/// Clients of one proxy, each with one request at a time.
class Clients {
 public:
  Clients(Loop& withLoop, std::uint16_t port, std::size_t count)
      : loop(withLoop), asking(request("/v1/small", port)) {
    for (std::size_t index = 0; index < count; ++index) {
      auto client = std::make_shared<Client>(Client{Wire::accepted(connectTo(port), nullptr), {}});
      loop.watch(client->wire.socket(), [this, client] { read(*client); });
      idle.push_back(client.get());
    }
  }

  /// Sends a request that was due at `due`, now or when a connection is free.
  void ask(std::uint64_t due) {
    waiting.push_back(due);
    sendWaiting();
  }
  /// Answers that are still to come.
  std::size_t open() const { return asked; }
  /// Leaves out what has not been sent.
  void giveUpWaiting() { waiting.clear(); }

  std::vector<std::uint64_t> times;

 private:
  struct Client {
    Wire wire;
    Input input;
    std::uint64_t due = 0;
  };

  void sendWaiting() {
    while (!waiting.empty() && !idle.empty()) {
      Client* client = idle.front();
      idle.pop_front();
      client->due = waiting.front();
      waiting.pop_front();
      ++asked;
      client->wire.sendAll(asking);
    }
  }

  void read(Client& client) {
    if (!client.wire.fill(client.input)) throw std::runtime_error("a connection ended");
    const std::string_view bytes = client.input.bytes();
    if (bytes.find("]}]}") == std::string_view::npos) return checkStatus(bytes);
    client.input.consume(bytes.size());
    times.push_back(now() - client.due);
    --asked;
    idle.push_back(&client);
    sendWaiting();
  }

  static void checkStatus(std::string_view bytes) {
    constexpr std::string_view good = "HTTP/1.1 200";
    if (bytes.size() >= good.size() && !bytes.starts_with(good))
      throw std::runtime_error(std::string(bytes.substr(0, 200)));
  }

  Loop& loop;
  const std::string asking;
  std::deque<Client*> idle;
  std::deque<std::uint64_t> waiting;  ///< when they were due
  std::size_t asked = 0;
};

/// How many were due.
std::uint64_t askFor(std::uint64_t length, std::uint64_t rate, Loop& loop, Clients& clients) {
  std::uint64_t due = now(), sent = 0;
  for (const std::uint64_t end = due + length; due < end; due += perMillisecond) {
    while (now() < due) loop.turn(due);
    for (std::uint64_t share = rate / 1000; share > 0; --share, ++sent) clients.ask(due);
  }
  while (now() < due) loop.turn(due);
  clients.giveUpWaiting();
  const std::uint64_t limit = now() + patience;
  while (clients.open() > 0 && now() < limit) loop.turn(limit);
  if (clients.open() > 0) throw std::runtime_error("not all requests were answered");
  return sent;
}

}  // namespace

void requests(std::uint16_t listen, std::uint16_t connect, std::size_t connections, std::uint64_t rate,
              const std::string& pemFile) {
  Loop loop;
  const Provider provider(loop, listen, pemFile);
  Clients clients(loop, connect, connections);
  askFor(warmUp, rate, loop, clients);
  eachRun([&](std::uint64_t length) {
    clients.times.clear();
    const std::uint64_t due = askFor(length, rate, loop, clients);
    return "{\"due\": " + std::to_string(due) + ", " + summary(clients.times) + ", " + provider.counts() +
           "}";
  });
}

void latency(std::uint16_t listen, std::uint16_t connect, std::uint64_t count) {
  Loop loop;
  const Provider provider(loop, listen, "");
  Clients clients(loop, connect, 1);
  for (; count > 0; --count) {
    const std::uint64_t start = now();
    clients.ask(start);
    while (clients.open() > 0) {
      loop.turn(start + patience);
      if (now() > start + patience) throw std::runtime_error("no answer");
    }
  }
  std::printf("{%s}\n", summary(clients.times).c_str());
}

}  // namespace ferrin::bench
