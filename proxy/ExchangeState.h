#pragma once
// What the two sides of an exchange share: both connections, how far it has come, and how it fails.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/AccessLog.h"
#include "proxy/Client.h"
#include "proxy/Services.h"
#include "proxy/http/Heads.h"
#include "proxy/http/RelayError.h"
#include "proxy/loop/CancellationSlot.h"

namespace ferrin::proxy {

/// How far an exchange has come. Phases follow one another in this order, and `tunnelling` takes the place of
/// `responding` for a WebSocket. After `connecting` the request's body is forwarded beside whatever phase
/// there is. A failure leaves the phase as it is; whoever goes on or waits asks ended(). In the end, be it a
/// failure or `over`, Exchange::run waits for the forwarding of the body, keeps the connections that can
/// serve again, or sends the relay's own error where nothing has gone to the client.
enum class Phase {
  connecting,    ///< until RequestSide::begin has handed the request's head to an upstream connection
  awaitingHead,  ///< until ResponseSide::forwardHeads has the head of the final response
  responding,    ///< until ResponseSide has sent the response's body to the client
  tunnelling,    ///< after a 101: until RequestSide or ResponseSide meets the end of either connection
  over,          ///< everything was forwarded
};

/// What the request's head says about the exchange as a whole.
struct RequestTraits {
  explicit RequestTraits(const RequestHead& head);

  int version;           ///< 10 or 11
  bool headOnly;         ///< HEAD: the response has no body
  bool keepsConnection;  ///< the client may send another request
  bool expectsContinue;
  bool webSocket;
};

/// Why an exchange ended early.
struct Failure {
  std::optional<RelayError> error;     ///< what the client is told, if it is told anything
  Ending ending = Ending::clientGone;  ///< for the log, where there is no error
  std::string cause;                   ///< for the log; empty for the error's usual text
};

/// For the log; lives as long as the exception.
std::string_view causeOf(const std::exception& exception) noexcept;

struct ExchangeState {
  /// `head` is used only now.
  ExchangeState(Services& shared, Client& from, const RequestHead& head);
  ExchangeState(const ExchangeState&) = delete;
  ExchangeState& operator=(const ExchangeState&) = delete;
  ~ExchangeState();

  /// Ends the exchange early. The first failure counts; the cause is copied, as far as there is memory. Every
  /// wait of both sides is interrupted (Socket::interrupt). While connecting, a call from outside the
  /// exchange's coroutines (a timer, ClientWatch, Exchange::abort) may resume them within this call, up to
  /// the end of the exchange and of its connection: this object and the caller's own may be gone afterwards,
  /// so such a caller touches neither. A call from the coroutines resumes nothing; they ask failed() before
  /// they wait again. Not from a destructor.
  void fail(RelayError error, std::string_view cause) noexcept { end(error, Ending::refused, cause); }
  void clientHasGone() noexcept { end({}, Ending::clientGone, ""); }
  void relayStops() noexcept { end({}, Ending::stopped, ""); }
  /// The same for an exception: out of memory, or no descriptor, say.
  void fail(const std::exception& exception) noexcept;
  bool failed() const { return failure.has_value(); }
  /// Whether nothing more is to be forwarded: after a failure, and in the phase `over`.
  bool ended() const { return failed() || phase == Phase::over; }

  std::chrono::milliseconds elapsed() const;

  Services& services;
  Client& client;
  const RequestTraits traits;
  std::unique_ptr<Stream> upstream;  ///< while connecting a kept one, if there is any, until it takes nothing
  const std::shared_ptr<Route> route;
  const Clock::time_point started;
  ExchangeRecord record;
  Phase phase = Phase::connecting;
  bool awaitsBody = false;          ///< a read of the request's body is under way
  CancellationSlot connectAttempt;  ///< filled while connecting
  std::optional<Failure> failure;
  /// After an exception: where the client's next request begins is not known.
  bool inputIsUncertain = false;
  Timer silence;  ///< runs from the beginning to the end, and is restarted by every byte

 private:
  void silenceExpired() noexcept;
  void end(std::optional<RelayError> error, Ending ending, std::string_view cause) noexcept;
};

}  // namespace ferrin::proxy
