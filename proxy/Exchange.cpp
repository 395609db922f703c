#include "proxy/Exchange.h"

#include <utility>

namespace ferrin::proxy {

Task<AfterResponse> Exchange::run() {
  try {
    co_await forward();
  } catch (const std::exception& exception) {
    state.fail(exception);
  }
  co_await endRequest();
  AfterResponse after = state.failed() ? recordFailure() : finish();
  state.record.bytesIn = request.bodyBytes();
  state.record.bytesOut = response.bodyBytes();
  state.record.total = state.elapsed();  // also where there is no memory for the error
  if (state.record.ending == Ending::refused) after = co_await sendError();
  state.silence.stop();
  state.record.total = state.elapsed();
  co_return after;
}

/// The phases, one after the other, as far as nothing fails.
Task<> Exchange::forward() {
  state.silence.start(state.services.timeouts.silence);
  co_await request.begin();
  if (!state.failed()) request.startBody();
  if (!state.failed()) co_await response.forwardHeads();
  if (state.phase == Phase::tunnelling) request.startTunnel();
  if (!state.failed()) co_await response.forwardBody();
}

Task<> Exchange::endRequest() {
  try {
    co_await request.stop();
  } catch (const std::exception& exception) {
    state.fail(exception);
  }
}

/// Keeps of the two connections what can serve again.
AfterResponse Exchange::finish() {
  const bool whole = request.bodyComplete();
  const bool isCurrent = state.route == state.services.routes.current();
  if (isCurrent && whole && request.allSent() && response.leavesUpstreamReusable())
    state.services.pool.keep(std::move(state.upstream));
  return response.closesClient() || !whole ? AfterResponse::close : AfterResponse::keep;
}

AfterResponse Exchange::recordFailure() {
  const Failure& failure = *state.failure;
  ExchangeRecord& record = state.record;
  if (!failure.error) {
    record.ending = failure.ending;
    return AfterResponse::reset;
  }
  record.ending = response.begun() ? Ending::truncated : Ending::refused;
  record.cause = withRemedy(*failure.error, failure.cause);
  return AfterResponse::reset;
}

/// Answers in the upstream's place, as nothing of its response has gone out.
Task<AfterResponse> Exchange::sendError() {
  const RelayError error = *state.failure->error;
  const bool close = !state.request.keepsConnection || !request.bodyComplete() || state.inputIsUncertain ||
                     state.services.stopping;
  Client& client = state.client;
  state.record.status = statusOf(error);
  state.record.first = state.elapsed();
  state.silence.start(state.services.timeouts.silence);
  const std::string text = relayResponse(error, close, state.request.headOnly);
  bool sent = client.sendBuffer.send(client.stream, {text});
  if (sent) sent = co_await client.sendBuffer.flush(client.stream, state.silence);
  if (!sent) co_return AfterResponse::reset;
  co_return close ? AfterResponse::close : AfterResponse::keep;
}

}  // namespace ferrin::proxy
