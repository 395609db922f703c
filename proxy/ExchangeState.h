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
/// `responding` for a WebSocket. A failure ends any of them.
enum class Phase {
  connecting,    ///< until an upstream connection has taken the request's head
  awaitingHead,  ///< until the head of the final response is in
  responding,    ///< until the response's body has been forwarded
  tunnelling,    ///< after a 101: until either end closes
  over,          ///< nothing more is forwarded
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

struct ExchangeState {
  /// `head` is used only now.
  ExchangeState(Services& shared, Client& from, const RequestHead& head);
  ExchangeState(const ExchangeState&) = delete;
  ExchangeState& operator=(const ExchangeState&) = delete;
  ~ExchangeState();

  /// Ends the exchange early. The first failure counts; the cause is copied, as far as there is memory. Every
  /// wait of both sides is interrupted: they resume at the end of this turn, or, while connecting, within
  /// this call. So it may be called from anywhere but a destructor, and the caller returns at once
  /// afterwards.
  void fail(RelayError error, std::string_view cause) noexcept;
  void clientHasGone() noexcept { end(Failure{{}, Ending::clientGone, {}}); }
  void relayStops() noexcept { end(Failure{{}, Ending::stopped, {}}); }
  /// The same for an exception: out of memory, or no descriptor, say.
  void fail(const std::exception& exception) noexcept;
  bool failed() const { return failure.has_value(); }
  /// Whether nothing more is to be forwarded: after a failure, and in the phase `over`.
  bool ended() const { return failed() || phase == Phase::over; }

  std::chrono::milliseconds elapsed() const;

  Services& services;
  Client& client;
  const RequestTraits traits;
  const std::shared_ptr<Route> route;
  const Clock::time_point started;
  ExchangeRecord record;
  Phase phase = Phase::connecting;
  bool awaitsBody = false;           ///< the request's body is being waited for, and not the upstream
  std::unique_ptr<Stream> upstream;  ///< none while connecting
  CancellationSlot connectAttempt;   ///< filled while connecting
  std::optional<Failure> failure;
  bool inputIsUncertain =
      false;      ///< after an exception, it is not known where the client's next request begins
  Timer silence;  ///< runs from the beginning to the end, and is restarted by every byte

 private:
  void silenceExpired() noexcept;
  void end(Failure why) noexcept;
};

}  // namespace ferrin::proxy
