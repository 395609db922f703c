#pragma once
// One request to the upstream and its answer. The answer's side runs in run(); while there is a request body
// to forward, a second coroutine does that. Whatever ends an exchange early goes through fail(), which ends
// all its waits.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/AccessLog.h"
#include "proxy/Client.h"
#include "proxy/Services.h"
#include "proxy/http/Framing.h"
#include "proxy/http/HeadRewriting.h"
#include "proxy/http/Heads.h"
#include "proxy/http/RelayError.h"
#include "proxy/loop/Task.h"
#include "proxy/upstream/Connector.h"

namespace ferrin::proxy {

/// What happens to a client's connection after an answer.
enum class AfterAnswer {
  keep,   ///< it may carry another request
  close,  ///< it ends; what the client still sends is of no use
  reset,  ///< it is aborted, so that what it got is not taken for a whole answer
};

class Exchange {
 public:
  /// `head` and `target`, where it goes at the upstream, are used up here. What belongs to the request's body
  /// is taken from client.pending, from its front.
  Exchange(Services& shared, Client& from, const RequestHead& head, std::string_view target,
           std::string_view key);
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange();

  Task<AfterAnswer> run();
  /// Ends it early, for `cause`. From the event loop, at any time during run().
  void abandon(const std::string& cause) { fail(RelayError::upstreamClosed, cause); }

  const ExchangeRecord& record() const { return recorded; }

 private:
  struct Failure {
    std::optional<RelayError> error;  ///< none when the client has gone
    std::string cause;
  };

  std::chrono::milliseconds elapsed() const;
  void fail(std::optional<RelayError> error, std::string cause);
  void clientHasGone() { fail(std::nullopt, ""); }

  void watchClient();
  void lookForClient();

  bool sendOverKept(std::string_view body);
  Task<> sendOverFresh(std::string_view body);
  std::string_view bufferedBody();

  Task<> feed();
  bool feedBlock(const IoResult& got);
  void endTunnel();

  Task<> flushToClient();
  void takeHeads(const IoResult& got);
  void takeHeads(std::string_view bytes, std::size_t searched);
  void takeHead(const AnswerHead& head, std::string_view rest);
  void beginAnswer(const AnswerHead& head, std::string_view rest);
  void beginTunnel(const AnswerHead& head, std::string_view rest);
  void forward(std::string_view bytes, std::string_view head);
  void sendToClient(std::initializer_list<std::string_view> pieces);
  Task<> forwardBody();
  bool upstreamEnded(const IoResult& got);

  void unwatchClient();
  Task<> stopFeeding();
  AfterAnswer finish();
  Task<AfterAnswer> answerFailure();

  Services& services;
  Client& client;
  ExchangeRecord recorded;
  Clock::time_point started;

  bool headRequest;
  int clientVersion;
  bool clientKeeps;
  bool sendContinue;
  bool webSocket;
  std::string outgoing;  ///< the upstream's request head, key included; wiped once it is sent
  BodyFraming requestBody;

  std::unique_ptr<Stream> upstream;
  Outbox upload;
  bool upstreamKeeps = false;
  Connector* connector = nullptr;

  std::string held;  ///< of the upstream's answer, while its head is incomplete
  std::optional<BodyFraming> answerBody;
  BodyForm form = BodyForm::asReceived;
  bool closeAfter = false;
  bool tunnel = false;
  bool tunnelEnded = false;

  std::optional<Failure> failure;
  SideTask feeder;
  Deadline silence;
  Deadline recheck;
};

}  // namespace ferrin::proxy
