#include "proxy/RequestSide.h"

#include "proxy/http/HeadRewriting.h"
#include "proxy/loop/NextTurn.h"
#include "proxy/upstream/Connector.h"

namespace ferrin::proxy {
namespace {

constexpr std::string_view goAhead = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::string_view malformedChunks = "the body's chunks are malformed";
constexpr std::string_view brokenCoding = "the body is not what its coding, zstd, says";

}  // namespace

RequestSide::RequestSide(ExchangeState& shared, const RequestHead& requestHead, std::string_view target,
                         std::string_view key)
    : state(shared), clientWatch(shared), body(BodyFraming::ofRequest(requestHead)) {
  appendUpstreamHead(upstreamHead, requestHead, state.route->addressing, target, key);
  if (hasZstdBody(requestHead)) decoded = std::make_unique<DecodedBody>();
}

Task<> RequestSide::begin() {
  clientWatch.start();
  state.record.via = state.route->via();
  Client& client = state.client;
  const bool awaitsGoAhead = state.traits.expectsContinue && !body.complete() && client.pending.empty();
  if (awaitsGoAhead && !client.sendBuffer.send(client.stream, {goAhead})) state.clientHasGone();
  if (decoded) client.dropPending(decode(client.pending));
  if (decoded && !state.failed()) decoded->appendFraming(upstreamHead, body.complete());
  const BodyFraming::Step pendingStep = decoded ? BodyFraming::Step{} : followPending();
  if (!state.failed() && !sendOverKept(pendingStep)) co_await sendOverNew(pendingStep);
  client.dropPending(pendingStep.belonging);  // also after a failure: the next request begins there
  upstreamHead.clear();
  if (!state.failed()) state.phase = Phase::awaitingHead;
}

/// False when there is no kept connection, or when one takes nothing because it has died since: only then is
/// a new one tried, as a request is never sent twice.
bool RequestSide::sendOverKept(const BodyFraming::Step& pendingStep) {
  if (!state.upstream) return false;
  state.record.upstream = UpstreamUse::reused;
  const bool sent = send(upstreamHead, state.client.pending, pendingStep);
  if (!sent && !toUpstream.mayHaveBeenTaken()) {
    state.upstream.reset();
    return false;
  }
  if (!sent) state.fail(RelayError::upstreamClosed, "send: " + state.upstream->problem());
  return true;
}

/// `pendingStep` is of client.pending, which nothing else changes while connecting.
Task<> RequestSide::sendOverNew(const BodyFraming::Step& pendingStep) {
  Services& services = state.services;
  Connector attempt(services.loop, services.timeouts.upstream, *state.route, services.tls);
  const CancellationSlot::Scope cancellable(state.connectAttempt, [&attempt] { attempt.cancel(); });
  Connected connected = co_await attempt.open();
  state.upstream = std::move(connected.stream);
  state.record.upstream = UpstreamUse::fresh;
  if (!state.upstream) {
    state.fail(connected.error, "connect: " + connected.problem);
  } else if (!state.failed() && !send(upstreamHead, state.client.pending, pendingStep)) {
    state.fail(RelayError::upstreamClosed, "send: " + state.upstream->problem());
  }
}

/// Sends `first`, and of `bytes` what passes on.
bool RequestSide::send(std::string_view first, std::string_view bytes, const BodyFraming::Step& step) {
  return toUpstream.send(*state.upstream,
                         {first, bytes.substr(0, step.passing), step.endsTrailers ? "\r\n" : ""});
}

/// Follows the part of the body that client.pending begins with.
BodyFraming::Step RequestSide::followPending() {
  const auto step = body.follow(state.client.pending);
  if (!step.valid) state.fail(RelayError::malformedBody, malformedChunks);
  return step;
}

void RequestSide::startBody() {
  if (decoded || !(body.complete() && toUpstream.empty())) forwarding.start(forwardBody());
}

void RequestSide::startTunnel() {
  body = BodyFraming::tunnel();
  if (!forwarding.running()) forwarding.start(forwardBody());
}

/// An exception ends the exchange here, as the response's side learns of nothing else.
Task<> RequestSide::forwardBody() {
  try {
    if (decoded) {
      co_await forwardDecoded();
    } else {
      co_await forwardUntilEnd();
    }
  } catch (const std::exception& exception) {
    state.fail(exception);
  }
}

Task<> RequestSide::forwardUntilEnd() {
  clientWatch.pause();
  while (!state.ended()) {
    if (!toUpstream.empty()) co_await flushToUpstream();
    if (state.failed() || !toUpstream.empty()) co_return;
    if (body.complete()) break;
    if (state.client.pending.empty()) {
      const IoResult got = co_await receive();
      if (!received(got) || !forward(got)) co_return;
    } else {
      const BodyFraming::Step pendingStep = followPending();
      if (state.failed() || !send("", state.client.pending, pendingStep)) co_return;
      state.client.dropPending(pendingStep.belonging);
    }
  }
  if (!state.failed()) clientWatch.start();
}

/// When the connection breaks, the toUpstream stays filled and nothing fails here: the upstream may have sent
/// a response before, which ResponseSide still reads.
Task<> RequestSide::flushToUpstream() {
  clientWatch.startLater();
  co_await toUpstream.flush(*state.upstream, state.silence);
  clientWatch.pause();
}

/// Reads from the client into the shared block.
Task<IoResult> RequestSide::receive() {
  state.awaitsBody = true;
  const IoResult got = co_await readSome(state.client.stream, state.services.block);
  state.awaitsBody = false;
  co_return got;
}

/// Whether bytes have been read into the shared block.
bool RequestSide::received(const IoResult& got) {
  if (got.status == IoStatus::moved) {
    state.silence.restart();
  } else if (got.status == IoStatus::end && state.phase == Phase::tunnelling) {
    state.phase = Phase::over;
    state.upstream->socket().interrupt();
  } else if (got.status != IoStatus::interrupted) {
    state.clientHasGone();
  }
  return got.status == IoStatus::moved;
}

/// Forwards what was read into the shared block. False when that failed.
bool RequestSide::forward(const IoResult& got) {
  const std::string_view bytes(state.services.block.data(), got.bytes);
  const auto step = body.follow(bytes);
  state.client.pending.append(bytes.substr(step.belonging));
  if (!step.valid) state.fail(RelayError::malformedBody, malformedChunks);
  return step.valid && send("", bytes, step);
}

/// Hands the encoded content of `bytes` to the decoder. Returns how many of them belong to the body.
std::size_t RequestSide::decode(std::string_view bytes) {
  const auto step = body.follow(bytes, &decoded->input());
  if (!step.valid) state.fail(RelayError::malformedBody, malformedChunks);
  return step.belonging;
}

/// Little that was read can take long to pass on, decoded. So the client is watched all the time but while it
/// is read from.
Task<> RequestSide::forwardDecoded() {
  while (!state.ended()) {
    if (!toUpstream.empty()) co_await toUpstream.flush(*state.upstream, state.silence);
    if (state.ended() || !toUpstream.empty()) co_return;
    if (decodedWhole) co_return clientWatch.start();
    const DecodedBody::Next next = decoded->next(state.services.block, body.complete());
    if (next == DecodedBody::Next::broken) co_return state.fail(RelayError::malformedBody, brokenCoding);
    if (next == DecodedBody::Next::needsInput) {
      clientWatch.pause();
      const IoResult got = co_await receive();
      clientWatch.startLater();
      if (!received(got)) co_return;
      const std::string_view bytes(state.services.block.data(), got.bytes);
      state.client.pending.append(bytes.substr(decode(bytes)));
      continue;
    }
    const auto& [first, second, third] = decoded->pieces();
    if (!toUpstream.send(*state.upstream, {first, second, third})) co_return;
    decodedWhole = next == DecodedBody::Next::end;
    co_await NextTurn(state.services.loop);
  }
}

Task<> RequestSide::endForwarding() {
  if (forwarding.running()) {
    state.client.stream.socket().interrupt();
    state.upstream->socket().interrupt();
  }
  co_await forwarding.join();
  clientWatch.pause();  // forwarding may have started it again at its end
}

}  // namespace ferrin::proxy
