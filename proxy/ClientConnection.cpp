#include "proxy/ClientConnection.h"

#include <utility>

#include "proxy/Health.h"
#include "proxy/http/Guard.h"
#include "proxy/http/HeadRewriting.h"
#include "proxy/http/Targets.h"

namespace ferrin::proxy {
namespace {

/// Bytes of empty lines before a request, which are to be ignored (RFC 9112, section 2.2).
std::size_t emptyLinesBefore(std::string_view bytes) {
  std::size_t size = 0;
  while (bytes.substr(size).starts_with("\r\n")) size += 2;
  return size;
}

}  // namespace

ClientConnection::ClientConnection(Services& shared, FileDescriptor connected)
    : services(shared),
      client(shared.loop, std::move(connected)),
      limit([this] { client.stream.socket().interrupt(); }) {}

void ClientConnection::stopIfIdle() {
  if (!currentExchange.filled() && !answering) client.stream.socket().interrupt();
}

void ClientConnection::abort() {
  aborted = true;
  client.stream.socket().interrupt();
  currentExchange.cancel();
}

Task<> ClientConnection::serve() {
  AfterResponse after = AfterResponse::keep;
  while (after == AfterResponse::keep && !services.stopping) {
    HeadResult head = beginHead();
    while (head == HeadResult::incomplete) head = readMore(co_await readSome(client.stream, services.block));
    limit.stop();
    if (head == HeadResult::none) {
      if (!services.stopping || aborted) co_return;
      after = AfterResponse::close;  // its last response may still be on the way
    } else if (head == HeadResult::complete) {
      after = co_await respond();
    } else {
      const bool large = head == HeadResult::tooLarge;
      const OwnResponse response =
          refuseUnreadable(large ? RelayError::headersTooLarge : RelayError::badRequest);
      after = co_await send(response);
    }
  }
  co_await endAfter(after);
}

Task<> ClientConnection::turnAway(RelayError error) {
  services.log.note("refused a connection: " + withRemedy(error, ""));
  const OwnResponse response{relayResponse(error, true, false), true};
  co_await endAfter(co_await send(response));
}

ClientConnection::HeadResult ClientConnection::beginHead() {
  headBegun = !client.pending.empty();
  headSearched = 0;
  limit.start(headBegun ? services.timeouts.head : services.timeouts.idleClient);
  return findHead();
}

ClientConnection::HeadResult ClientConnection::readMore(const IoResult& got) {
  if (got.status != IoStatus::moved) return HeadResult::none;
  if (!std::exchange(headBegun, true)) limit.start(services.timeouts.head);
  client.pending.append(services.block.data(), got.bytes);
  return findHead();
}

/// Whether client.pending begins with a complete head. If so, its size is headSize, and services.requestHead
/// holds it; its texts lie in client.pending, and end with the next change of that.
ClientConnection::HeadResult ClientConnection::findHead() {
  if (const std::size_t empty = emptyLinesBefore(client.pending); empty > 0) {
    client.dropPending(empty);
    headSearched = 0;
  }
  const bool complete = mayBeWholeHead(client.pending, std::exchange(headSearched, client.pending.size()));
  headSize = complete ? parseRequestHead(client.pending, services.requestHead) : 0;
  if (headSize == malformedHead) return HeadResult::malformed;
  if ((headSize == 0 ? client.pending.size() : headSize) > maxHeadBytes) return HeadResult::tooLarge;
  return headSize == 0 ? HeadResult::incomplete : HeadResult::complete;
}

Task<AfterResponse> ClientConnection::respond() {
  std::optional<Exchange> exchange;
  OwnResponse own;
  try {
    own = decide(services.requestHead, exchange);
  } catch (const std::exception& exception) {
    own = refuse(services.requestHead, RelayError::upstreamUnreachable, causeOf(exception));
  }
  client.dropPending(headSize);
  if (!exchange) co_return co_await send(own);
  AfterResponse after = AfterResponse::reset;
  try {
    const CancellationSlot::Scope cancellable(currentExchange, [&exchange] { exchange->abort(); });
    after = co_await exchange->run();
  } catch (const std::exception&) {
    // The record has the reason; there was no memory to answer with.
  }
  services.log.exchange(exchange->record());
  co_return after;
}

/// Either makes the exchange that the request asks for, or the relay's own response.
ClientConnection::OwnResponse ClientConnection::decide(const RequestHead& head,
                                                       std::optional<Exchange>& exchange) {
  if (const auto refused = refusal(head, services.own)) return refuse(head, *refused, "");
  const std::string_view target = splitTarget(head.target).pathAndQuery;
  if (withoutQuery(target) == "/healthz" && (head.method == "GET" || head.method == "HEAD"))
    return reportHealth(head);
  const auto mapped = upstreamTarget(services.options.upstream.basePath, target);
  if (!mapped) return refuse(head, RelayError::notFound, "");
  const std::string& problem = services.options.upstream.problem;
  if (!problem.empty()) return refuse(head, RelayError::upstreamAddressUnusable, "--upstream: " + problem);
  if (asksForWebSocket(head) && services.loop.timers().now() < services.webSocketsRefusedUntil)
    return refuse(head, RelayError::upgradeRequired, "WebSocket was not answered a short while ago");
  const std::string_view key = services.currentKey();
  if (key.empty()) return refuse(head, RelayError::apiKeyUnavailable, services.key.problem());
  exchange.emplace(services, client, head, *mapped, key);
  return {};
}

/// Whether a response made here must be the last: the client wants that, or a body follows that is not read.
bool ClientConnection::closesAfter(const RequestHead& head) const {
  const bool hasBody = !BodyFraming::ofRequest(head).complete();
  return head.version == 10 || hasBody || head.connectionHas("close") || head.method == "CONNECT" ||
         services.stopping;
}

ClientConnection::OwnResponse ClientConnection::refuse(const RequestHead& head, RelayError error,
                                                       std::string_view cause) {
  const bool close = closesAfter(head);
  OwnResponse response{relayResponse(error, close, head.method == "HEAD"), close};
  logRefusal(head.method, pathForLog(head.target), error, cause);
  return response;
}

ClientConnection::OwnResponse ClientConnection::refuseUnreadable(RelayError error) {
  OwnResponse response{relayResponse(error, true, false), true};
  logRefusal("-", "-", error, "");
  return response;
}

void ClientConnection::logRefusal(std::string_view method, std::string_view path, RelayError error,
                                  std::string_view cause) {
  ExchangeRecord record;
  record.method = method;
  record.path = path;
  record.status = statusOf(error);
  record.ending = Ending::refused;
  record.cause = withRemedy(error, cause);
  services.log.exchange(record);
}

ClientConnection::OwnResponse ClientConnection::reportHealth(const RequestHead& head) {
  const bool close = closesAfter(head);
  const std::string report =
      healthReport(services.options.upstream.host, services.connections, services.inFlight);
  return {jsonResponse(200, "OK", "Cache-Control: no-store\r\n", report, close, head.method == "HEAD"),
          close};
}

Task<AfterResponse> ClientConnection::send(const OwnResponse& response) {
  answering = true;
  limit.start(services.timeouts.head);
  bool sent = client.sendBuffer.send(client.stream, {response.text});
  if (sent) sent = co_await client.sendBuffer.flush(client.stream, limit);
  limit.stop();
  answering = false;
  if (!sent) co_return AfterResponse::reset;
  co_return response.close ? AfterResponse::close : AfterResponse::keep;
}

/// The system resets a connection that is closed while bytes of the client are unread, and the response may
/// be lost with it (RFC 9112, section 9.6). So what the client still sends is read for a moment.
Task<> ClientConnection::endAfter(AfterResponse after) {
  if (after == AfterResponse::reset || aborted) {
    client.stream.socket().reset();
    co_return;
  }
  client.stream.socket().shutdownSending();
  limit.start(services.timeouts.linger);
  for (;;) {
    const IoResult got = co_await readSome(client.stream, services.block);
    if (got.status != IoStatus::moved) co_return;
  }
}

}  // namespace ferrin::proxy
