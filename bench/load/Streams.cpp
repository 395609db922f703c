#include "bench/load/Streams.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/load/Http.h"
#include "bench/load/Loop.h"
#include "bench/load/Provider.h"
#include "bench/load/Runs.h"

namespace ferrin::bench {
namespace {

constexpr std::uint64_t serveInterval = 100 * perMillisecond;

/// Clients that read a stream each; collects how long each event took.
class Readers {
 public:
  Readers(Loop& withLoop, std::uint16_t port, std::size_t count, const std::string& path) : loop(withLoop) {
    for (std::size_t index = 0; index < count; ++index) {
      auto reader = std::make_shared<Reader>(Reader{Wire::accepted(connectTo(port), nullptr), {}});
      loop.watch(reader->wire.socket(), [this, reader] { read(*reader); });
      reader->wire.sendAll(request(path, port));
    }
  }

  std::vector<std::uint64_t> delays;
  std::size_t broken = 0;

 private:
  struct Reader {
    Wire wire;
    Input input;
  };

  void read(Reader& reader) {
    if (!reader.wire.fill(reader.input)) {
      ++broken;
      return loop.forget(reader.wire.socket());
    }
    const std::uint64_t time = now();
    constexpr std::string_view stamp = "\"at\":";
    for (;;) {
      const std::string_view bytes = reader.input.bytes();
      const std::size_t end = bytes.find("}\n\n");
      if (end == std::string_view::npos) return;
      const std::size_t at = bytes.find(stamp);
      if (at < end) delays.push_back(time - std::stoull(std::string(bytes.substr(at + stamp.size(), 20))));
      reader.input.consume(end + 3);
    }
  }

  Loop& loop;
};

void awaitStreams(Loop& loop, const Provider& provider, std::size_t count) {
  const std::uint64_t limit = now() + patience;
  while (provider.streams() < count && now() < limit) loop.turn(now() + perMillisecond);
  if (provider.streams() < count) throw std::runtime_error("not all streams began");
}

/// When events are sent: `together` at a time, `gap` nanoseconds apart.
struct Rhythm {
  std::uint64_t gap;
  std::size_t together;
};

/// Returns once all of them have arrived.
void exchangeEvents(std::uint64_t length, const Rhythm& rhythm, Loop& loop, Provider& provider,
                    Readers& readers) {
  std::uint64_t due = now();
  const std::uint64_t end = due + length;
  std::size_t sent = 0;
  readers.delays.clear();
  for (; due < end; due += rhythm.gap) {
    while (now() < due) loop.turn(due);
    for (std::size_t index = 0; index < rhythm.together; ++index) provider.sendEvent(sent++);
    loop.turn(0);
  }
  const std::uint64_t limit = now() + patience;
  while (readers.delays.size() < sent && readers.broken == 0 && now() < limit) loop.turn(limit);
  if (readers.delays.size() < sent) throw std::runtime_error("not all events arrived");
}

}  // namespace

void streams(std::uint16_t listen, std::uint16_t connect, std::size_t count, std::uint64_t interval,
             bool together, const std::string& pemFile) {
  Loop loop;
  Provider provider(loop, listen, pemFile);
  Readers readers(loop, connect, count, "/v1/stream");
  awaitStreams(loop, provider, count);
  const Rhythm rhythm = together ? Rhythm{interval, count} : Rhythm{interval / count, 1};
  exchangeEvents(interval, rhythm, loop, provider, readers);  // so that all have begun at the client as well
  eachRun([&](std::uint64_t length) {
    exchangeEvents(length, rhythm, loop, provider, readers);
    return "{" + summary(readers.delays) + ", " + provider.counts() + "}";
  });
}

void hold(std::uint16_t connect, std::size_t count, std::uint64_t length, const std::string& path) {
  Loop loop;
  const Readers readers(loop, connect, count, path);
  const std::uint64_t end = now() + length;
  while (now() < end) loop.turn(end);
  std::printf("{\"broken\": %zu}\n", readers.broken);
}

void serve(std::uint16_t listen, const std::string& pemFile) {
  Loop loop;
  Provider provider(loop, listen, pemFile);
  for (std::uint64_t due = now();;) {
    loop.turn(now() + serveInterval);
    if (now() < due) continue;
    for (std::size_t index = 0; index < provider.streams(); ++index) provider.sendEvent(index);
    due = now() + serveInterval;
  }
}

}  // namespace ferrin::bench
