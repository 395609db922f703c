#include "proxy/Exchange.h"

#include <utility>

namespace ferrin::proxy {

Task<AfterResponse> Exchange::run() {
  try {
    co_await forward();
  } catch (const std::exception& exception) {
    state.fail(exception);
  }
  requestSide.endWatch();
  try {
    if (requestSide.forwardsBeside()) co_await requestSide.endForwarding();
  } catch (const std::exception& exception) {
    state.fail(exception);
  }
  state.record.bytesIn = requestSide.bodyBytes();
  state.record.bytesOut = responseSide.bodyBytes();
  state.record.total = state.elapsed();  // all of it also where there is no memory for the relay's error
  AfterResponse after = state.failed() ? recordFailure() : finish();
  if (state.record.ending == Ending::refused) after = co_await sendError();
  state.silence.stop();
  state.record.total = state.elapsed();
  co_return after;
}

/// The phases, one after the other, as far as nothing fails.
Task<> Exchange::forward() {
  state.silence.start(state.services.timeouts.silence);
  co_await requestSide.begin();
  if (!state.failed()) requestSide.startBody();
  if (!state.failed()) co_await responseSide.forwardHeads();
  if (state.failed()) co_return;
  if (state.phase == Phase::tunnelling) requestSide.startTunnel();
  if (!state.ended()) co_await responseSide.forwardBody();
}

/// Keeps of the two connections what can serve again.
AfterResponse Exchange::finish() {
  const bool whole = requestSide.bodyComplete();
  const bool isCurrent = state.route == state.services.routes.current();
  if (isCurrent && whole && requestSide.allSent() && responseSide.leavesUpstreamReusable())
    state.services.pool.keep(std::move(state.upstream));
  return responseSide.closesClient() || !whole ? AfterResponse::close : AfterResponse::keep;
}

AfterResponse Exchange::recordFailure() {
  const Failure& failure = *state.failure;
  ExchangeRecord& record = state.record;
  if (!failure.error) {
    record.ending = failure.ending;
    record.cause = failure.cause;
    return AfterResponse::reset;
  }
  record.ending = responseSide.begun() ? Ending::truncated : Ending::refused;
  record.cause = withRemedy(*failure.error, failure.cause);
  return AfterResponse::reset;
}

/// Answers in the upstream's place, as nothing of its response has gone out.
Task<AfterResponse> Exchange::sendError() {
  const RelayError error = *state.failure->error;
  const bool close = !state.traits.keepsConnection || !requestSide.bodyComplete() || state.inputIsUncertain ||
                     state.services.stopping;
  Client& client = state.client;
  state.record.status = statusOf(error);
  state.record.first = state.elapsed();
  state.silence.start(state.services.timeouts.silence);
  const std::string text = relayResponse(error, close, state.traits.headOnly);
  bool sent = client.sendBuffer.send(client.stream, {text});
  if (sent) sent = co_await client.sendBuffer.flush(client.stream, state.silence);
  if (!sent) co_return AfterResponse::reset;
  co_return close ? AfterResponse::close : AfterResponse::keep;
}

}  // namespace ferrin::proxy
