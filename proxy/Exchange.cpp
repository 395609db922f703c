#include "proxy/Exchange.h"

#include <openssl/crypto.h>

#include <array>
#include <charconv>
#include <utility>

#include "proxy/http/Targets.h"

namespace ferrin::proxy {
namespace {

constexpr std::string_view goAhead = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::string_view lastChunk = "0\r\n\r\n";
constexpr std::string_view keyRefused = "the provider refused the key; save the right one in Ferrin Relay";

/// Answers to a WebSocket request that a client must see as they are; all others tell it to use HTTP.
bool passesToWebSocketClient(int status) { return status == 401 || status == 403 || status == 429; }

std::string chunkHead(std::size_t size) {
  std::array<char, 2 * sizeof size> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), size, 16).ptr;
  return std::string(digits.data(), end) + "\r\n";
}

}  // namespace

Exchange::Exchange(Services& shared, Client& from, const RequestHead& head, std::string_view target,
                   std::string_view key)
    : services(shared),
      client(from),
      started(shared.loop.deadlines().now()),
      headRequest(head.method == "HEAD"),
      clientVersion(head.version),
      clientKeeps(head.version == 11 && !head.connectionHas("close")),
      sendContinue(expectsContinue(head)),
      webSocket(asksForWebSocket(head)),
      requestBody(BodyFraming::ofRequest(head)),
      silence([this] { fail(RelayError::upstreamTimeout, "no byte for too long"); }),
      recheck([this] { lookForClient(); }) {
  recorded.method = head.method;
  recorded.path = withoutQuery(splitTarget(head.target).pathAndQuery);
  appendUpstreamHead(outgoing, head, services.options.upstream.hostField, target, key);
  ++services.inFlight;
}

Exchange::~Exchange() {
  OPENSSL_cleanse(outgoing.data(), outgoing.size());
  --services.inFlight;
}

Task<AfterAnswer> Exchange::run() {
  silence.start(services.limits.silence);
  watchClient();
  if (sendContinue && !requestBody.complete() && client.pending.empty()) sendToClient({goAhead});
  const std::string_view body = bufferedBody();
  if (!failure && !sendOverKept(body)) co_await sendOverFresh(body);
  client.pending.erase(0, body.size());  // whatever became of it: what follows is the next request
  OPENSSL_cleanse(outgoing.data(), outgoing.size());
  std::string().swap(outgoing);
  if (!failure && !(requestBody.complete() && upload.empty())) feeder.start(feed());
  while (!failure && !answerBody) {
    if (!client.outbox.empty()) co_await flushToClient();
    if (!failure) takeHeads(co_await readSome(*upstream, services.block));
  }
  if (!failure && !(client.outbox.empty() && answerBody->complete())) co_await forwardBody();
  unwatchClient();
  if (feeder.pending()) co_await stopFeeding();
  AfterAnswer after = AfterAnswer::reset;
  if (failure) {
    after = co_await answerFailure();
  } else {
    after = finish();
  }
  silence.stop();
  recorded.bytesIn = requestBody.contentBytes();
  recorded.bytesOut = answerBody ? answerBody->contentBytes() : 0;
  recorded.total = elapsed();
  co_return after;
}

std::chrono::milliseconds Exchange::elapsed() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(services.loop.deadlines().now() - started);
}

/// Ends everything that the exchange waits for. Connecting comes last, as it may end the exchange at once.
void Exchange::fail(std::optional<RelayError> error, std::string cause) {
  if (!failure) failure = Failure{error, std::move(cause)};
  client.stream.socket().interrupt();
  if (upstream) upstream->socket().interrupt();
  if (connector != nullptr) connector->cancel();
}

// ---- The client's presence

/// From here on a client that goes away ends the exchange, even though nobody reads from it.
void Exchange::watchClient() {
  client.stream.socket().watch([this] { lookForClient(); });
}

/// Something came from the client, or came some time ago and still waits unread: its end may hide behind
/// that.
void Exchange::lookForClient() {
  if (client.hasGone()) {
    clientHasGone();
  } else if (feeder.running() || client.stream.socket().hasUnread()) {
    recheck.start(services.limits.recheck);
  }
}

// ---- Towards the upstream

/// Sends the request over a connection that was kept. False when there is none, or when it takes nothing, as
/// it has died in its sleep: only then a fresh one is tried, as a request is never sent twice.
bool Exchange::sendOverKept(std::string_view body) {
  upstream = services.pool.take();
  if (!upstream) return false;
  recorded.upstream = UpstreamUse::reused;
  const bool sent = upload.send(*upstream, {outgoing, body});
  if (!sent && !upload.anyTaken()) return false;
  if (!sent) fail(RelayError::upstreamClosed, "send: " + upstream->problem());
  return true;
}

Task<> Exchange::sendOverFresh(std::string_view body) {
  Connector attempt(services.loop, services.limits.upstream, services.names, services.tls,
                    services.options.upstream);
  connector = &attempt;
  Connected connected = co_await attempt.open();
  connector = nullptr;
  upstream = std::move(connected.stream);
  recorded.upstream = UpstreamUse::fresh;
  if (!upstream) fail(RelayError::upstreamUnreachable, "connect: " + connected.problem);
  if (!failure && !upload.send(*upstream, {outgoing, body}))
    fail(RelayError::upstreamClosed, "send: " + upstream->problem());
}

std::string_view Exchange::bufferedBody() {
  const auto step = requestBody.follow(client.pending);
  if (!step.valid) fail(RelayError::badRequest, "the body's chunks are malformed");
  return std::string_view(client.pending).substr(0, step.belonging);
}

/// Forwards the request's body, at the speed at which the upstream takes it.
Task<> Exchange::feed() {
  client.stream.socket().unwatch();
  recheck.start(services.limits.recheck);
  while (!failure) {
    if (!upload.empty()) {
      const bool flushed = co_await upload.flush(*upstream, silence);
      if (!flushed) co_return;  // an answer may have been sent all the same; that side finds out
    }
    if (requestBody.complete()) break;
    if (client.pending.empty()) {
      const IoResult got = co_await readSome(client.stream, services.block);
      if (!feedBlock(got)) co_return;
    } else {
      const std::string_view body = bufferedBody();
      if (failure || !upload.send(*upstream, {body})) co_return;
      client.pending.erase(0, body.size());
    }
  }
  recheck.stop();
  if (!failure) watchClient();
}

bool Exchange::feedBlock(const IoResult& got) {
  if (got.status != IoStatus::moved) {
    if (got.status == IoStatus::end && tunnel) {
      endTunnel();
    } else if (got.status != IoStatus::interrupted) {
      clientHasGone();
    }
    return false;
  }
  silence.renew();
  const std::string_view bytes(services.block.data(), got.bytes);
  const auto step = requestBody.follow(bytes);
  client.pending.append(bytes.substr(step.belonging));
  if (!step.valid) fail(RelayError::badRequest, "the body's chunks are malformed");
  return step.valid && upload.send(*upstream, {bytes.substr(0, step.belonging)});
}

void Exchange::endTunnel() {
  tunnelEnded = true;
  upstream->socket().interrupt();
}

// ---- Towards the client

Task<> Exchange::flushToClient() {
  const bool flushed = co_await client.outbox.flush(client.stream, silence);
  if (!flushed) clientHasGone();
}

/// Takes the heads that were read, up to the final one, behind what is held. What is there of one that is
/// incomplete is held.
void Exchange::takeHeads(const IoResult& got) {
  if (got.status == IoStatus::interrupted) return;
  if (got.status != IoStatus::moved) {
    return fail(RelayError::upstreamClosed,
                got.status == IoStatus::end ? "closed before an answer" : "receive: " + upstream->problem());
  }
  silence.renew();
  const std::size_t searched = held.size();
  const std::string_view block(services.block.data(), got.bytes);
  takeHeads(held.empty() ? block : held.append(block), searched);
}

void Exchange::takeHeads(std::string_view bytes, std::size_t searched) {
  while (!failure && !answerBody) {
    const bool worthIt = mayBeWholeHead(bytes, std::exchange(searched, 0));
    const std::size_t size = worthIt ? parseAnswerHead(bytes, services.answer) : 0;
    if (size == malformedHead) return fail(RelayError::upstreamInvalid, "the answer's head is malformed");
    if ((size == 0 ? bytes.size() : size) > maxHeadBytes)
      return fail(RelayError::upstreamInvalid, "the answer's head is over 64 KiB");
    if (size == 0) {
      if (bytes.size() != held.size()) held = std::string(bytes);
      return;
    }
    bytes.remove_prefix(size);
    takeHead(services.answer, bytes);
  }
}

/// Passes an informational head on, begins the answer with another one, whose body begins with `rest`.
void Exchange::takeHead(const AnswerHead& head, std::string_view rest) {
  if (head.status == 101 && webSocket) return beginTunnel(head, rest);
  if (head.status >= 200) return beginAnswer(head, rest);
  if (head.status == 101) return fail(RelayError::upstreamInvalid, "the upstream switched protocols unasked");
  if (clientVersion == 10) return;  // which knows none (RFC 9110, section 15.2)
  services.head.clear();
  appendInformationalHead(services.head, head);
  sendToClient({services.head});
}

void Exchange::beginAnswer(const AnswerHead& head, std::string_view rest) {
  if (webSocket && !passesToWebSocketClient(head.status)) {
    return fail(RelayError::upgradeRequired, "WebSocket answered with status " + std::to_string(head.status));
  }
  answerBody = BodyFraming::ofAnswer(head, headRequest ? "HEAD" : "");
  form = bodyForm(answerBody->kind(), clientVersion);
  upstreamKeeps = head.version == 11 && !head.connectionHas("close") && !webSocket;
  closeAfter = !clientKeeps || services.stopping;
  recorded.status = head.status;
  if (head.status == 401) recorded.cause = keyRefused;
  recorded.first = elapsed();
  services.head.clear();
  appendClientHead(services.head, head, form, closeAfter);
  forward(rest, services.head);
}

void Exchange::beginTunnel(const AnswerHead& head, std::string_view rest) {
  tunnel = true;
  closeAfter = true;
  recorded.status = head.status;
  recorded.first = elapsed();
  answerBody = BodyFraming::tunnel();
  requestBody = BodyFraming::tunnel();
  services.head.clear();
  appendInformationalHead(services.head, head);
  forward(rest, services.head);  // first, as the feeder reads into the block that `rest` may be in
  if (!feeder.running()) feeder.start(feed());
}

/// Sends `head` and what of `bytes` belongs to the answer, in the client's form.
void Exchange::forward(std::string_view bytes, std::string_view head) {
  std::string payload;
  const auto step = answerBody->follow(bytes, form == BodyForm::bare ? &payload : nullptr);
  const std::string_view own = bytes.substr(0, step.belonging);
  if (step.belonging < bytes.size()) upstreamKeeps = false;  // nobody asked for what follows
  if (form == BodyForm::bare) {
    sendToClient({head, payload});
  } else if (form == BodyForm::chunked && !own.empty()) {
    sendToClient({head, chunkHead(own.size()), own, "\r\n"});
  } else {
    sendToClient({head, own});
  }
  if (!step.valid) fail(RelayError::upstreamInvalid, "the answer's chunks are malformed");
}

void Exchange::sendToClient(std::initializer_list<std::string_view> pieces) {
  if (!client.outbox.send(client.stream, pieces)) clientHasGone();
}

/// Forwards the answer's body, at the speed at which the client takes it.
Task<> Exchange::forwardBody() {
  std::string().swap(held);
  while (!failure) {
    if (!client.outbox.empty()) co_await flushToClient();
    if (failure || answerBody->complete()) break;
    const IoResult got = co_await readSome(*upstream, services.block);
    if (got.status != IoStatus::moved) {
      if (upstreamEnded(got)) break;
      continue;
    }
    silence.renew();
    forward({services.block.data(), got.bytes}, "");
  }
}

/// The upstream's connection gave no bytes. True when nothing more is to be done for the client.
bool Exchange::upstreamEnded(const IoResult& got) {
  if (failure || tunnelEnded || (tunnel && got.status == IoStatus::end)) return true;
  const bool whole = got.status == IoStatus::end && answerBody->kind() == BodyFraming::Kind::untilClose;
  upstreamKeeps = false;
  if (!whole) {
    fail(RelayError::upstreamClosed,
         got.status == IoStatus::end ? "closed in mid-answer" : "receive: " + upstream->problem());
    return true;
  }
  answerBody->endHere();
  if (form == BodyForm::chunked) sendToClient({lastChunk});
  return false;
}

// ---- The end

void Exchange::unwatchClient() {
  client.stream.socket().unwatch();
  recheck.stop();
}

Task<> Exchange::stopFeeding() {
  if (feeder.running()) {
    client.stream.socket().interrupt();
    upstream->socket().interrupt();
  }
  co_await feeder.join();
  unwatchClient();
}

/// Keeps of the two connections what can serve again.
AfterAnswer Exchange::finish() {
  const bool whole = requestBody.complete();
  if (upstreamKeeps && whole && upload.empty() && answerBody->complete())
    services.pool.keep(std::move(upstream));
  return closeAfter || !whole ? AfterAnswer::close : AfterAnswer::keep;
}

/// Tells the client, as far as that can still be done.
Task<AfterAnswer> Exchange::answerFailure() {
  if (!failure->error) {
    recorded.ending = Ending::clientGone;
    co_return AfterAnswer::reset;
  }
  recorded.cause = withRemedy(*failure->error, failure->cause);
  if (answerBody) {
    recorded.ending = Ending::truncated;
    co_return AfterAnswer::reset;
  }
  const bool close = !clientKeeps || !requestBody.complete() || services.stopping;
  recorded.ending = Ending::refused;
  recorded.status = statusOf(*failure->error);
  recorded.first = elapsed();
  silence.start(services.limits.silence);
  const std::string answer = relayAnswer(*failure->error, close, headRequest);
  bool sent = client.outbox.send(client.stream, {answer});
  if (sent) sent = co_await client.outbox.flush(client.stream, silence);
  if (!sent) co_return AfterAnswer::reset;
  co_return close ? AfterAnswer::close : AfterAnswer::keep;
}

}  // namespace ferrin::proxy
