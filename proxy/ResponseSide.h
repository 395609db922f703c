#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/ExchangeState.h"
#include "proxy/http/Framing.h"
#include "proxy/http/HeadRewriting.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

/// What comes down in an exchange: the upstream's response heads and body, and after a 101 its part of the
/// tunnel. Problems of either connection end the exchange (ExchangeState::ended), and the calls here return
/// normally then.
class ResponseSide {
 public:
  /// `shared` outlives this object.
  explicit ResponseSide(ExchangeState& shared) : state(shared) {}

  /// Forwards informational heads, and the final one with the part of the body that came with it: the phase
  /// `awaitingHead`. Afterwards the phase is `responding` or `tunnelling`, or `over` where that was all, or
  /// the exchange has failed.
  Task<> forwardHeads();
  /// Forwards the rest of the body, or of the tunnel, at the speed at which the client takes it. Afterwards
  /// the phase is `over`, or the exchange has failed.
  Task<> forwardBody();

  /// Whether the final head is being sent to the client, or has been, so that the relay can't answer in its
  /// place any more.
  bool begun() const { return body.has_value(); }
  /// Whether the upstream's connection may carry another request, as far as the response goes.
  bool leavesUpstreamReusable() const { return upstreamReusable && body && body->complete(); }
  /// Whether the client was told that its connection ends with this response.
  bool closesClient() const { return closesAfterwards; }
  std::uint64_t bodyBytes() const { return body ? body->contentBytes() : 0; }

 private:
  void webSocketUnanswered(std::string_view cause) noexcept;
  void takeBytes(const IoResult& got);
  void takeHeads(std::string_view bytes, std::size_t searched);
  void takeHead(const ResponseHead& head, std::string_view rest);
  void takeFinalHead(const ResponseHead& head, std::string_view rest);
  void takeSwitchingHead(const ResponseHead& head, std::string_view rest);
  void forward(std::string_view bytes, std::string_view head);
  void send(std::initializer_list<std::string_view> pieces);
  Task<> flush();
  void endIfForwarded();
  void upstreamEnded(const IoResult& got);

  ExchangeState& state;
  std::string incompleteHead;  ///< what has arrived of a head that is not complete
  std::optional<BodyFraming> body;
  BodyForm form = BodyForm::asReceived;
  bool upstreamReusable = false;
  bool closesAfterwards = false;
};

}  // namespace ferrin::proxy
