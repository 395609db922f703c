#include "proxy/RequestSide.h"

#include "proxy/http/HeadRewriting.h"
#include "proxy/upstream/Connector.h"

namespace ferrin::proxy {
namespace {

constexpr std::string_view goAhead = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::string_view malformedChunks = "the body's chunks are malformed";

}  // namespace

RequestSide::RequestSide(ExchangeState& shared, const RequestHead& requestHead, std::string_view target,
                         std::string_view key)
    : state(shared), clientWatch(shared), body(BodyFraming::ofRequest(requestHead)) {
  appendUpstreamHead(head, requestHead, state.services.options.upstream.hostField, target, key);
}

Task<> RequestSide::begin() {
  clientWatch.start();
  Client& client = state.client;
  const bool awaitsGoAhead = state.request.expectsContinue && !body.complete() && client.pending.empty();
  if (awaitsGoAhead && !client.sendBuffer.send(client.stream, {goAhead})) state.clientHasGone();
  const std::string_view bodyPart = bufferedBody();
  const std::size_t taken = bodyPart.size();
  if (!state.failed() && !sendOverKept(bodyPart)) co_await sendOverNew(bodyPart);
  client.pending.erase(0, taken);  // also after a failure: the next request begins there
  head.clear();
  if (!state.failed()) state.phase = Phase::awaitingHead;
}

/// False when there is no kept connection, or when one takes nothing because it has died since: only then is
/// a new one tried, as a request is never sent twice.
bool RequestSide::sendOverKept(std::string_view bodyPart) {
  state.upstream = state.services.pool.take();
  if (!state.upstream) return false;
  state.record.upstream = UpstreamUse::reused;
  const bool sent = buffer.send(*state.upstream, {head, bodyPart});
  if (!sent && !buffer.anyTaken()) return false;
  if (!sent) state.fail(RelayError::upstreamClosed, "send: " + state.upstream->problem());
  return true;
}

Task<> RequestSide::sendOverNew(std::string_view bodyPart) {
  Services& services = state.services;
  Connector attempt(services.loop, services.timeouts.upstream, services.names, services.tls,
                    services.options.upstream);
  const CancellationSlot::Scope cancellable(state.connecting, [&attempt] { attempt.cancel(); });
  Connected connected = co_await attempt.open();
  state.upstream = std::move(connected.stream);
  state.record.upstream = UpstreamUse::fresh;
  if (!state.upstream) {
    state.fail(RelayError::upstreamUnreachable, "connect: " + connected.problem);
  } else if (!state.failed() && !buffer.send(*state.upstream, {head, bodyPart})) {
    state.fail(RelayError::upstreamClosed, "send: " + state.upstream->problem());
  }
}

/// The part of client.pending that belongs to the body.
std::string_view RequestSide::bufferedBody() {
  const auto step = body.follow(state.client.pending);
  if (!step.valid) state.fail(RelayError::badRequest, malformedChunks);
  return std::string_view(state.client.pending).substr(0, step.belonging);
}

void RequestSide::startBody() {
  if (!(body.complete() && buffer.empty())) forwarding.start(forwardBody());
}

void RequestSide::startTunnel() {
  body = BodyFraming::tunnel();
  if (!forwarding.running()) forwarding.start(forwardBody());
}

/// An exception ends the exchange here, as the response's side learns of nothing else.
Task<> RequestSide::forwardBody() {
  try {
    co_await forwardUntilEnd();
  } catch (const std::exception& exception) {
    state.fail(exception);
  }
}

Task<> RequestSide::forwardUntilEnd() {
  clientWatch.stop();
  while (!state.failed() && state.phase != Phase::over) {
    if (!buffer.empty()) co_await forwardPending();
    if (state.failed() || !buffer.empty()) co_return;
    if (body.complete()) break;
    if (state.client.pending.empty()) {
      const IoResult got = co_await readSome(state.client.stream, state.services.block);
      if (!forward(got)) co_return;
    } else {
      const std::string_view bodyPart = bufferedBody();
      if (state.failed() || !buffer.send(*state.upstream, {bodyPart})) co_return;
      state.client.pending.erase(0, bodyPart.size());
    }
  }
  if (!state.failed()) clientWatch.start();
}

/// Leaves the buffer filled when the upstream takes no more: it may have sent a response all the same, which
/// the other side finds out.
Task<> RequestSide::forwardPending() {
  clientWatch.startLater();
  co_await buffer.flush(*state.upstream, state.silence);
  clientWatch.stop();
}

/// Forwards what was read into the shared block. False when there is nothing more to forward.
bool RequestSide::forward(const IoResult& got) {
  if (got.status != IoStatus::moved) {
    if (got.status == IoStatus::end && state.phase == Phase::tunnelling) {
      state.phase = Phase::over;
      state.upstream->socket().interrupt();
    } else if (got.status != IoStatus::interrupted) {
      state.clientHasGone();
    }
    return false;
  }
  state.silence.restart();
  const std::string_view bytes(state.services.block.data(), got.bytes);
  const auto step = body.follow(bytes);
  state.client.pending.append(bytes.substr(step.belonging));
  if (!step.valid) state.fail(RelayError::badRequest, malformedChunks);
  return step.valid && buffer.send(*state.upstream, {bytes.substr(0, step.belonging)});
}

Task<> RequestSide::stop() {
  clientWatch.stop();
  if (!forwarding.started()) co_return;
  if (forwarding.running()) {
    state.client.stream.socket().interrupt();
    state.upstream->socket().interrupt();
  }
  co_await forwarding.join();
  clientWatch.stop();
}

}  // namespace ferrin::proxy
