#include "tests/fuzz/targets/Conversation.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "proxy/Server.h"
#include "tests/fuzz/targets/Claim.h"
#include "tests/fuzz/targets/Peer.h"
#include "tests/fuzz/targets/Reader.h"

namespace ferrin::proxy {
namespace {

Clock::time_point scriptedNow{std::chrono::hours(1)};

}  // namespace

/// Takes the place of the system's.
Clock::time_point Clock::now() noexcept { return scriptedNow; }

}  // namespace ferrin::proxy

namespace ferrin::fuzz {
namespace {

using namespace ferrin::proxy;

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// The relay, and what it is connected to. Lives as long as the process.
struct Laboratory {
  Laboratory();

  FileDescriptor upstream{socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
  std::array<int, 2> logEnds{};
  Options options;
  EventLoop loop;
  std::optional<Services> services;
  std::optional<Server> server;
};

Laboratory::Laboratory() {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  claim(bind(upstream.get(), reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            listen(upstream.get(), 64) == 0 &&
            getsockname(upstream.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            pipe2(logEnds.data(), O_NONBLOCK | O_CLOEXEC) == 0,
        "there is an upstream");
  const int key = memfd_create("key", MFD_CLOEXEC);
  claim(write(key, relayKey, std::string_view(relayKey).size()) > 0, "there is a key");
  options = {"127.0.0.1", 0,
             parseUpstreamURL("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/b"),
             "/proc/self/fd/" + std::to_string(key), std::chrono::seconds(10)};
  services.emplace(loop, options, logEnds[1]);
  server.emplace(*services);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT})
    std::signal(number, SIG_DFL);  // they end the fuzzer
  server->start();
  claim(services->currentKey() == relayKey, "the key is read");
}

Laboratory& laboratory() {
  static auto* const made = new Laboratory;
  return *made;
}

/// Two blocks and a head.
constexpr std::size_t maxTurnBytes = 2 * blockBytes + maxHeadBytes;

/// A connection that the script's upstream has accepted.
struct UpstreamSide : Peer {
  using Peer::Peer;
  std::size_t begin = 0;                 ///< of the request that is answered or arrives
  Message request;                       ///< that one
  std::size_t lastTurn = 0;              ///< in which it was read from
  std::optional<std::size_t> answering;  ///< an index of Outcome::arrivals
  const Answer* answer = nullptr;
};

class Player {
 public:
  Player(Script& played, FuzzedDataProvider& given);
  Outcome play();

 private:
  bool move();
  bool moveClient(std::size_t most);
  void countAnswers();
  bool moveUpstream(std::size_t most);
  bool serve(UpstreamSide& side, std::size_t most);
  void begin(UpstreamSide& side, const Message& request);
  void rest(std::chrono::milliseconds patience);
  void passTime();
  std::string takeLog();

  Script& script;
  FuzzedDataProvider& choice;
  EventLoop& loop = laboratory().loop;
  Services& services = *laboratory().services;
  Peer client;
  std::vector<std::unique_ptr<UpstreamSide>> sides;
  bool isPaused = true;
  std::size_t turns = 0;        ///< of the event loop
  std::size_t answered = 0;     ///< requests
  std::size_t answeredEnd = 0;  ///< in what the client received
  Outcome outcome;
};

Player::Player(Script& played, FuzzedDataProvider& given)
    : script(played), choice(given), client(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  const std::string port = std::to_string(100'000 + services.own.port).substr(1);
  for (std::size_t at = 0; (at = script.client.bytes.find(portSign, at)) != std::string::npos;)
    script.client.bytes.replace(at, port.size(), port);
  services.webSocketsRefusedUntil = {};
  services.pool.clear();
  const sockaddr_in relay = loopback(services.own.port);
  const int connected = connect(client.socket.get(), reinterpret_cast<const sockaddr*>(&relay), sizeof relay);
  claim(connected == 0 || errno == EINPROGRESS, "the relay listens");
}

Outcome Player::play() {
  constexpr int restful = 8;
  const std::chrono::milliseconds patience(script.isSmooth() ? 200 : 2);  // the system may take its time
  for (int turn = 0; services.connections == 0; ++turn) {
    loop.turn(patience);
    claim(turn < 1'000, "the relay accepts");
  }
  for (int still = 0, waits = 0; !client.hasLeft || services.connections > 0;) {
    const bool moved = move();
    if (still == restful)
      rest(patience);
    else
      loop.turn(std::chrono::milliseconds(0));
    ++turns;
    still = moved ? 0 : still + 1;
    isPaused = isPaused && still < restful / 2;
    if (still <= restful + 1) continue;
    passTime();
    still = 0;
    claim(++waits < 500, "it ends");
  }
  moveUpstream(std::string::npos);
  outcome.sent = script.client.bytes.substr(0, client.sent);
  outcome.received = client.received;
  outcome.isReset = client.isReset;
  outcome.isClosed = client.isClosed && !client.isReset;
  outcome.log = takeLog();
  return std::move(outcome);
}

/// One of the sides or both, in steps that the fuzzer likes; in the end all that there is.
bool Player::move() {
  const int turn = choice.ConsumeIntegralInRange(0, 15);
  const std::size_t most =
      std::array<std::size_t, 4>{std::string::npos, 1, 7, 100}.at(static_cast<std::size_t>(turn / 4));
  const bool clientMoved = turn % 4 != 1 && moveClient(most);
  return (turn % 4 != 2 && moveUpstream(most)) || clientMoved || turn > 0;
}

bool Player::moveClient(std::size_t most) {
  if (client.hasLeft) return false;
  bool moved = client.read();
  if (moved) countAnswers();
  const bool isDone = client.isClosed || answered >= script.requestEnds.size();
  if (isDone) {
    client.hasLeft = true;
    client.socket.reset();
    return true;
  }
  const std::size_t asked = script.isPipelined ? std::string::npos : script.requestEnds[answered];
  moved = client.follow(script.client, most,
                        std::min({asked, script.tunnelBegin, isPaused ? script.pause : asked}), true) ||
          moved;
  outcome.clientLeft = client.hasLeft || script.client.leaving == Leaving::stalls;
  return moved;
}

void Player::countAnswers() {
  for (;;) {
    const bool toHead =
        answered < script.requestEnds.size() &&
        script.client.bytes.compare(answered == 0 ? 0 : script.requestEnds[answered - 1], 4, "HEAD") == 0;
    const Message answer =
        readAnswer(std::string_view(client.received).substr(answeredEnd), toHead, client.isClosed);
    if (answer.word(1) == "101") script.tunnelBegin = std::string::npos;
    if (!answer.isWhole || answer.word(1) == "101") break;
    answeredEnd += answer.size;
    if (!answer.word(1).starts_with("1")) ++answered;
  }
}

bool Player::moveUpstream(std::size_t most) {
  bool moved = false;
  for (int accepted = 0; (accepted = accept(laboratory().upstream.get(), nullptr, nullptr)) >= 0;
       moved = true)
    sides.push_back(std::make_unique<UpstreamSide>(accepted));
  for (const auto& side : sides) moved = serve(*side, most) || moved;
  return moved;
}

bool Player::serve(UpstreamSide& side, std::size_t most) {
  if (side.hasLeft) return false;
  const std::size_t before = side.received.size();
  bool moved = side.read();
  claim(side.received.size() - before <= (turns - std::exchange(side.lastTurn, turns)) * maxTurnBytes,
        "no turn serves one connection alone");
  const Message& request = side.request;
  if (moved) side.request = readRequest(std::string_view(side.received).substr(side.begin));
  if (!side.answering && request.hasHead) begin(side, request);
  if (!side.answering) return moved;
  Arrival& arrival = outcome.arrivals[*side.answering];
  if (moved) arrival.request = side.received.substr(side.begin);
  if (side.isClosed || (!request.isWhole && !side.answer->isEarly)) return moved;
  moved = side.follow(*side.answer, most, std::string::npos, !(isPaused && script.staysInPause)) || moved;
  arrival.answer = side.answer->bytes.substr(0, side.sent);
  arrival.isAnswerClosed = side.hasLeft && side.answer->leaving == Leaving::closes;
  if (side.sent < side.answer->bytes.size() || side.answer->leaving != Leaving::stays || !request.isWhole)
    return moved;
  arrival.request.resize(request.size);
  side.begin += request.size;
  side.request = {};
  side.answering.reset();
  return true;
}

void Player::begin(UpstreamSide& side, const Message& request) {
  const std::string target = request.word(1);
  const auto number = target.size() > 3 ? static_cast<std::size_t>(target[3] - '0') : 0;
  claim(outcome.arrivals.size() < script.answers.size(), "no request is sent twice or invented");
  side.answer = &script.answers[std::min(number, script.answers.size() - 1)];
  side.sent = 0;
  side.answering = outcome.arrivals.size();
  outcome.arrivals.emplace_back();
}

/// A turn that waits for the system. Its clock goes on, though the relay's stands still.
void Player::rest(std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!loop.turn(patience) && std::chrono::steady_clock::now() < end) continue;
}

/// Up to the next time limit. It expires in the second turn, as what has arrived counts before.
void Player::passTime() {
  const auto next = loop.timers().nextDue();
  claim(next.has_value(), "something is waited for");
  scriptedNow = std::max(scriptedNow, *next);
  outcome.hasWaited = true;
  for (int turn = 0; turn < 2; ++turn) loop.turn(std::chrono::milliseconds(0));
}

std::string Player::takeLog() {
  services.log.announce("");
  std::string log(65'536, '\0');
  const ssize_t size = read(laboratory().logEnds[0], log.data(), log.size());
  log.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return log;
}

}  // namespace

Outcome play(Script& script, FuzzedDataProvider& choice) { return Player(script, choice).play(); }

}  // namespace ferrin::fuzz
