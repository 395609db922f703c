#include "proxy/ExchangeState.h"

#include <new>

#include "proxy/http/HeadRewriting.h"
#include "proxy/http/Targets.h"

namespace ferrin::proxy {

RequestTraits::RequestTraits(const RequestHead& head)
    : version(head.version),
      headOnly(head.method == "HEAD"),
      keepsConnection(head.version == 11 && !head.connectionHas("close")),
      expectsContinue(proxy::expectsContinue(head)),
      webSocket(asksForWebSocket(head)) {}

std::string_view causeOf(const std::exception& exception) noexcept {
  return dynamic_cast<const std::bad_alloc*>(&exception) != nullptr ? "out of memory" : exception.what();
}

ExchangeState::ExchangeState(Services& shared, Client& from, const RequestHead& head)
    : services(shared),
      client(from),
      traits(head),
      // The end of a kept connection would look like the refusal of a WebSocket.
      upstream(traits.webSocket ? nullptr : shared.pool.take()),
      route(shared.routeForNext(upstream != nullptr)),
      started(shared.loop.timers().now()),
      silence([this] { silenceExpired(); }) {
  record.method = head.method;
  record.path = pathForLog(head.target);
  ++services.inFlight;
}

ExchangeState::~ExchangeState() { --services.inFlight; }

void ExchangeState::silenceExpired() noexcept {
  if (!client.sendBuffer.empty()) return end({}, Ending::truncated, "the client took no byte for too long");
  const bool clientStalled = awaitsBody && (phase == Phase::connecting || phase == Phase::awaitingHead);
  fail(clientStalled ? RelayError::requestTimeout : RelayError::upstreamTimeout, "no byte for too long");
}

void ExchangeState::end(std::optional<RelayError> error, Ending ending, std::string_view cause) noexcept {
  if (!failure) {
    failure.emplace(Failure{error, ending, {}});
    try {
      failure->cause = cause;
    } catch (const std::bad_alloc&) {
      // The error's usual text takes its place.
    }
  }
  client.stream.socket().interrupt();
  if (upstream) upstream->socket().interrupt();
  connectAttempt.cancel();  // last, as it may resume the exchange at once
}

void ExchangeState::fail(const std::exception& exception) noexcept {
  inputIsUncertain = true;
  fail(phase == Phase::connecting ? RelayError::upstreamUnreachable : RelayError::upstreamClosed,
       causeOf(exception));
}

std::chrono::milliseconds ExchangeState::elapsed() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(services.loop.timers().now() - started);
}

}  // namespace ferrin::proxy
