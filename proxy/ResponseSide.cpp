#include "proxy/ResponseSide.h"

#include <utility>

#include "proxy/http/ProviderRefusal.h"

namespace ferrin::proxy {
namespace {

/// Responses to a WebSocket request that a client must see as they are; all others tell it to use HTTP.
bool passesToWebSocketClient(int status) { return status == 401 || status == 403 || status == 429; }

}  // namespace

Task<> ResponseSide::forwardHeads() {
  Timer answerLimit([this] { webSocketUnanswered("WebSocket got no answer within 5 s"); });
  if (state.traits.webSocket) answerLimit.start(state.services.timeouts.webSocket);
  while (!state.failed() && !begun()) {
    if (!state.client.sendBuffer.empty()) co_await flush();
    if (!state.failed()) takeBytes(co_await readSome(*state.upstream, state.services.block));
  }
  incompleteHead = {};
}

/// Some providers, or what stands before them, drop WebSocket requests. Clients fall back to HTTP on a 426,
/// so they get it, and for a while without another try.
void ResponseSide::webSocketUnanswered(std::string_view cause) noexcept {
  constexpr auto memory = std::chrono::minutes(10);
  state.services.webSocketsRefusedUntil = state.services.loop.timers().now() + memory;
  state.fail(RelayError::upgradeRequired, cause);
}

void ResponseSide::takeBytes(const IoResult& got) {
  if (got.status == IoStatus::interrupted) return;
  if (got.status != IoStatus::moved) {
    const bool closed = got.status == IoStatus::end;
    const std::string cause = closed ? "closed before a response" : "receive: " + state.upstream->problem();
    if (state.traits.webSocket) return webSocketUnanswered("WebSocket: " + cause);
    return state.fail(RelayError::upstreamClosed, cause);
  }
  state.silence.restart();
  const std::size_t searched = incompleteHead.size();
  const std::string_view block(state.services.block.data(), got.bytes);
  takeHeads(incompleteHead.empty() ? block : incompleteHead.append(block), searched);
}

/// Takes the complete heads at the front of `bytes`, up to the final one. `bytes` lie in the shared block, or
/// in incompleteHead; the first `searched` of them are known to end no head.
void ResponseSide::takeHeads(std::string_view bytes, std::size_t searched) {
  while (!state.failed() && !begun()) {
    const bool complete = mayBeWholeHead(bytes, std::exchange(searched, 0));
    const std::size_t size = complete ? parseResponseHead(bytes, state.services.responseHead) : 0;
    if (size == malformedHead)
      return state.fail(RelayError::upstreamInvalid, "the response's head is malformed");
    if ((size == 0 ? bytes.size() : size) > maxHeadBytes)
      return state.fail(RelayError::upstreamInvalid, "the response's head is over 64 KiB");
    if (size == 0) {
      const bool isKept = bytes.data() == incompleteHead.data();
      if (!isKept) incompleteHead = std::string(bytes);
      return;
    }
    bytes.remove_prefix(size);
    takeHead(state.services.responseHead, bytes);
  }
}

void ResponseSide::takeHead(const ResponseHead& head, std::string_view rest) {
  if (head.status == 101 && state.traits.webSocket) return takeSwitchingHead(head, rest);
  if (head.status >= 200) return takeFinalHead(head, rest);
  if (head.status == 101)
    return state.fail(RelayError::upstreamInvalid, "the upstream switched protocols unasked");
  if (state.traits.version == 10) return;  // which has no informational responses (RFC 9110, section 15.2)
  std::string& out = state.services.clientHead;
  out.clear();
  appendInformationalHead(out, head);
  send({out});
}

void ResponseSide::takeFinalHead(const ResponseHead& head, std::string_view rest) {
  const RequestTraits& traits = state.traits;
  if (traits.webSocket && !passesToWebSocketClient(head.status)) {
    return state.fail(RelayError::upgradeRequired,
                      "WebSocket answered with status " + std::to_string(head.status));
  }
  if (head.status == 407 && state.route->asksProxy()) {
    return state.fail(RelayError::proxyLoginRefused,
                      "proxy " + state.route->proxy->name + ": refused with status 407");
  }
  body = BodyFraming::ofResponse(head, traits.headOnly ? "HEAD" : "");
  form = bodyForm(body->kind(), traits.version);
  upstreamReusable = head.version == 11 && !head.connectionHas("close") && !traits.webSocket;
  closesAfterwards = !traits.keepsConnection || state.services.stopping;
  state.phase = Phase::responding;
  state.record.status = head.status;
  state.record.cause = explanationOf(head.status, state.record.path);
  state.record.first = state.elapsed();
  std::string& out = state.services.clientHead;
  out.clear();
  appendClientHead(out, head, form, traits.version, closesAfterwards);
  forward(rest, out);
}

void ResponseSide::takeSwitchingHead(const ResponseHead& head, std::string_view rest) {
  body = BodyFraming::tunnel();
  closesAfterwards = true;
  state.phase = Phase::tunnelling;
  state.record.status = head.status;
  state.record.first = state.elapsed();
  std::string& out = state.services.clientHead;
  out.clear();
  appendInformationalHead(out, head);
  forward(rest, out);
}

/// Sends `head`, and of `bytes` what belongs to the response, in the form that the client understands.
void ResponseSide::forward(std::string_view bytes, std::string_view head) {
  std::string payload;
  const auto step = body->follow(bytes, form == BodyForm::bare ? &payload : nullptr);
  const std::string_view own = bytes.substr(0, step.passing);
  if (step.belonging < bytes.size()) upstreamReusable = false;  // what follows was not asked for
  if (form == BodyForm::bare) {
    send({head, payload});
  } else if (form == BodyForm::chunked && !own.empty()) {
    send({head, chunkHeadOf(own.size()), own, "\r\n"});
  } else {
    send({head, own, step.endsTrailers ? "\r\n" : ""});
  }
  if (!step.valid) state.fail(RelayError::upstreamInvalid, "the response's chunks are malformed");
  endIfForwarded();
}

/// Ends the phase once the client's connection has taken the whole response.
void ResponseSide::endIfForwarded() {
  if (!state.failed() && body->complete() && state.client.sendBuffer.empty()) state.phase = Phase::over;
}

void ResponseSide::send(std::initializer_list<std::string_view> pieces) {
  if (!state.client.sendBuffer.send(state.client.stream, pieces)) state.clientHasGone();
}

Task<> ResponseSide::flush() {
  const bool flushed = co_await state.client.sendBuffer.flush(state.client.stream, state.silence);
  if (!flushed) state.clientHasGone();
}

Task<> ResponseSide::forwardBody() {
  while (!state.ended()) {
    if (!state.client.sendBuffer.empty()) {
      co_await flush();
      endIfForwarded();
      continue;
    }
    const IoResult got = co_await readSome(*state.upstream, state.services.block);
    if (got.status == IoStatus::moved) {
      state.silence.restart();
      forward({state.services.block.data(), got.bytes}, "");
    } else {
      upstreamEnded(got);
    }
  }
}

/// The upstream's connection gave no bytes.
void ResponseSide::upstreamEnded(const IoResult& got) {
  if (state.ended()) return;
  upstreamReusable = false;
  if (state.phase == Phase::tunnelling && got.status == IoStatus::end) {
    state.phase = Phase::over;
  } else if (got.status == IoStatus::end && body->kind() == BodyFraming::Kind::untilClose) {
    body->endHere();
    if (form == BodyForm::chunked) send({lastChunk});
    endIfForwarded();
  } else {
    state.fail(RelayError::upstreamClosed, got.status == IoStatus::end
                                               ? "closed in mid-response"
                                               : "receive: " + state.upstream->problem());
  }
}

}  // namespace ferrin::proxy
