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

ExchangeState::ExchangeState(Services& shared, Client& from, const RequestHead& head)
    : services(shared),
      client(from),
      traits(head),
      route(shared.routeForNext(traits.webSocket)),
      started(shared.loop.timers().now()),
      silence([this] { silenceExpired(); }) {
  record.method = head.method;
  record.path = pathForLog(head.target);
  ++services.inFlight;
}

ExchangeState::~ExchangeState() { --services.inFlight; }

void ExchangeState::fail(RelayError error, std::string_view cause) noexcept {
  Failure why{error, Ending::refused, {}};
  try {
    why.cause = cause;
  } catch (const std::bad_alloc&) {
    // The error's usual text takes its place.
  }
  end(std::move(why));
}

void ExchangeState::silenceExpired() noexcept {
  const bool clientStalled = awaitsBody && (phase == Phase::connecting || phase == Phase::awaitingHead);
  fail(clientStalled ? RelayError::requestTimeout : RelayError::upstreamTimeout, "no byte for too long");
}

void ExchangeState::end(Failure why) noexcept {
  if (!failure) failure = std::move(why);
  client.stream.socket().interrupt();
  if (upstream) upstream->socket().interrupt();
  connectAttempt.cancel();  // last, as it may resume the exchange at once
}

void ExchangeState::fail(const std::exception& exception) noexcept {
  inputIsUncertain = true;
  const bool outOfMemory = dynamic_cast<const std::bad_alloc*>(&exception) != nullptr;
  fail(phase == Phase::connecting ? RelayError::upstreamUnreachable : RelayError::upstreamClosed,
       outOfMemory ? "out of memory" : exception.what());
}

std::chrono::milliseconds ExchangeState::elapsed() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(services.loop.timers().now() - started);
}

}  // namespace ferrin::proxy
