#pragma once

#include <memory>
#include <string_view>

#include "proxy/ClientWatch.h"
#include "proxy/ExchangeState.h"
#include "proxy/http/DecodedBody.h"
#include "proxy/http/Framing.h"
#include "proxy/loop/SendBuffer.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

/// What goes up in an exchange: the request's head and body, and after a 101 the client's part of the tunnel.
/// While there is a body to forward, a coroutine of its own does that beside the response's side. Problems of
/// either connection end the exchange (ExchangeState::ended), and the calls here return normally then.
class RequestSide {
 public:
  /// `head`, `target` (where it goes at the upstream) and `key` are used only now.
  RequestSide(ExchangeState& shared, const RequestHead& head, std::string_view target, std::string_view key);

  /// Sends the head, and what has arrived of the body, over a kept connection or a new one: the phase
  /// `connecting`. What belongs to the body is taken from the front of client.pending.
  Task<> begin();
  /// Starts to forward the rest of the body, if there is more, at the speed at which the upstream takes it.
  void startBody();
  /// Starts to forward everything that the client sends.
  void startTunnel();
  /// Whether startBody() or startTunnel() has started a coroutine, which endForwarding() has to end.
  bool forwardsBeside() const { return forwarding.started(); }
  /// Ends the watch of the client.
  void endWatch() { clientWatch.pause(); }
  /// Ends forwarding, and the watch that it may have started; waits until that is done.
  Task<> endForwarding();

  /// Whether the whole request has been read from the client.
  bool bodyComplete() const { return body.complete(); }
  /// Whether all of it has been taken by the upstream's connection.
  bool allSent() const { return toUpstream.empty() && (!decoded || decodedWhole); }
  std::uint64_t bodyBytes() const { return body.contentBytes(); }

 private:
  bool sendOverKept(const BodyFraming::Step& pendingStep);
  Task<> sendOverNew(const BodyFraming::Step& pendingStep);
  bool send(std::string_view first, std::string_view bytes, const BodyFraming::Step& step);
  BodyFraming::Step followPending();
  Task<> forwardBody();
  Task<> flushToUpstream();
  Task<> forwardUntilEnd();
  Task<> forwardDecoded();
  bool forward(const IoResult& got);
  Task<IoResult> receive();
  bool received(const IoResult& got);
  std::size_t decode(std::string_view bytes);

  ExchangeState& state;
  ClientWatch clientWatch;
  SecretString upstreamHead;  ///< for the upstream, key included; empty once it is sent
  BodyFraming body;
  std::unique_ptr<DecodedBody> decoded;  ///< the body, where it is decoded on its way
  bool decodedWhole = false;
  SendBuffer toUpstream;
  SideTask forwarding;
};

}  // namespace ferrin::proxy
