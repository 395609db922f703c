#pragma once
// One request to the upstream and its response.

#include <string_view>

#include "proxy/ExchangeState.h"
#include "proxy/RequestSide.h"
#include "proxy/ResponseSide.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

/// What happens to a client's connection after a response.
enum class AfterResponse {
  keep,   ///< it may carry another request
  close,  ///< it ends; what the client still sends is of no use
  reset,  ///< it is aborted, so that what the client got is not taken for a whole response
};

/// Its owner awaits run() once. Destroying the Task of run() and then the exchange cancels it at any time;
/// the client sees whatever becomes of its connection.
class Exchange {
 public:
  /// `shared` and `from` outlive the exchange. `head`, `target` (where the request goes at the upstream) and
  /// `key` are used only now. run() takes what belongs to the request's body from the front of from.pending,
  /// from where the head has been dropped by then.
  Exchange(Services& shared, Client& from, const RequestHead& head, std::string_view target,
           std::string_view key)
      : state(shared, from, head), requestSide(state, head, target, key), responseSide(state) {}

  /// Carries the exchange out, whatever fails on the way: in the end the client has been sent a response, the
  /// relay's own error, or nothing if neither is possible. Throws only when a last resort fails too (no
  /// memory for the relay's error); the client's connection must be reset then.
  Task<AfterResponse> run();

  /// Ends it early, as the relay stops. At any time during run(), which may end within this call.
  void abort() { state.relayStops(); }

  /// For the log; complete after run(), also when that threw.
  const ExchangeRecord& record() const { return state.record; }

 private:
  Task<> forward();
  AfterResponse finish();
  AfterResponse recordFailure();
  Task<AfterResponse> sendError();

  ExchangeState state;
  RequestSide requestSide;
  ResponseSide responseSide;
};

}  // namespace ferrin::proxy
