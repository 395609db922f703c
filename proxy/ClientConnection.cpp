#include "proxy/ClientConnection.h"

#include <utility>

#include "proxy/Health.h"
#include "proxy/http/Guard.h"
#include "proxy/http/Targets.h"
#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {
namespace {

/// Bytes of empty lines before a request, which are to be ignored (RFC 9112, section 2.2).
std::size_t emptyLinesBefore(std::string_view bytes) {
  std::size_t size = 0;
  while (bytes.substr(size).starts_with("\r\n")) size += 2;
  return size;
}

}  // namespace
ClientConnection::ClientConnection(Services& shared, Descriptor connected)
    : services(shared),
      client(shared.loop, std::move(connected)),
      limit([this] { client.stream.socket().interrupt(); }) {}

void ClientConnection::stopIfIdle() {
  if (exchange == nullptr) client.stream.socket().interrupt();
}

void ClientConnection::abandon() {
  if (exchange != nullptr) {
    exchange->abandon("the relay is stopping");
  } else {
    client.stream.socket().interrupt();
  }
}

Task<> ClientConnection::serve() {
  AfterAnswer after = AfterAnswer::keep;
  while (after == AfterAnswer::keep && !services.stopping) {
    HeadResult head = beginHead();
    while (head == HeadResult::incomplete) head = readMore(co_await readSome(client.stream, services.block));
    limit.stop();
    if (head == HeadResult::gone) co_return;
    if (head == HeadResult::complete) {
      after = co_await answer();
    } else {
      const bool large = head == HeadResult::tooLarge;
      after = co_await refuseUnreadable(large ? RelayError::headersTooLarge : RelayError::badRequest);
    }
  }
  co_await endAfter(after);
}

Task<> ClientConnection::turnAway() {
  services.log.note("refused a connection: " + withRemedy(RelayError::tooManyConnections, ""));
  const AfterAnswer after =
      co_await sendWhole(relayAnswer(RelayError::tooManyConnections, true, false), true);
  co_await endAfter(after);
}

ClientConnection::HeadResult ClientConnection::beginHead() {
  headBegun = !client.pending.empty();
  headSearched = 0;
  limit.start(headBegun ? services.limits.head : services.limits.idleClient);
  return findHead();
}

ClientConnection::HeadResult ClientConnection::readMore(const IoResult& got) {
  if (got.status != IoStatus::moved) return HeadResult::gone;
  if (!std::exchange(headBegun, true)) limit.start(services.limits.head);
  client.pending.append(services.block.data(), got.bytes);
  return findHead();
}

/// Whether client.pending begins with a whole head, whose size is headSize then. It is in services.request up
/// to the next wait.
ClientConnection::HeadResult ClientConnection::findHead() {
  if (const std::size_t empty = emptyLinesBefore(client.pending); empty > 0) {
    client.pending.erase(0, empty);
    headSearched = 0;
  }
  const bool worthIt = mayBeWholeHead(client.pending, std::exchange(headSearched, client.pending.size()));
  headSize = worthIt ? parseRequestHead(client.pending, services.request) : 0;
  if (headSize == malformedHead) return HeadResult::malformed;
  if ((headSize == 0 ? client.pending.size() : headSize) > maxHeadBytes) return HeadResult::tooLarge;
  return headSize == 0 ? HeadResult::incomplete : HeadResult::complete;
}

Task<AfterAnswer> ClientConnection::answer() {
  const RequestHead& head = services.request;
  if (const auto refused = refusalOf(head)) co_return co_await refuse(head, *refused, "");
  const std::string_view target = splitTarget(head.target).pathAndQuery;
  if (withoutQuery(target) == "/healthz" && (head.method == "GET" || head.method == "HEAD")) {
    co_return co_await answerHealth(head);
  }
  const auto mapped = upstreamTarget(services.options.upstream.basePath, target);
  if (!mapped) co_return co_await refuse(head, RelayError::notFound, "");
  const std::string_view key = services.currentKey();
  if (key.empty()) co_return co_await refuse(head, RelayError::apiKeyUnavailable, services.key.problem());
  Exchange own(services, client, head, *mapped, key);
  client.pending.erase(0, headSize);
  exchange = &own;
  const AfterAnswer after = co_await own.run();
  exchange = nullptr;
  services.log.exchange(own.record());
  co_return after;
}

std::optional<RelayError> ClientConnection::refusalOf(const RequestHead& head) {
  if (isSomebodyElse()) return RelayError::forbiddenUser;
  return refusal(head, services.port);
}

/// Asked again after a no, which may have come from a question that could not be put.
bool ClientConnection::isSomebodyElse() {
  if (!ours) ours = !belongsToSomebodyElse(client.peer, client.local);
  return !ours;
}

/// Whether an answer made here must be the last: the client wants that, or a body follows that nobody reads.
bool ClientConnection::closesAfter(const RequestHead& head) const {
  const bool hasBody = !BodyFraming::ofRequest(head).complete();
  return head.version == 10 || hasBody || head.connectionHas("close") || services.stopping;
}

Task<AfterAnswer> ClientConnection::refuse(const RequestHead& head, RelayError error,
                                           std::string_view cause) {
  ExchangeRecord record;
  record.method = head.method;
  record.path = withoutQuery(splitTarget(head.target).pathAndQuery);
  record.status = statusOf(error);
  record.ending = Ending::refused;
  record.cause = withRemedy(error, cause);
  services.log.exchange(record);
  const bool close = closesAfter(head);
  std::string answer = relayAnswer(error, close, head.method == "HEAD");
  client.pending.erase(0, headSize);
  co_return co_await sendWhole(std::move(answer), close);
}

Task<AfterAnswer> ClientConnection::refuseUnreadable(RelayError error) {
  ExchangeRecord record;
  record.method = "-";
  record.path = "-";
  record.status = statusOf(error);
  record.ending = Ending::refused;
  record.cause = withRemedy(error, "");
  services.log.exchange(record);
  co_return co_await sendWhole(relayAnswer(error, true, false), true);
}

Task<AfterAnswer> ClientConnection::answerHealth(const RequestHead& head) {
  const bool close = closesAfter(head);
  const std::string report =
      healthReport(services.options.upstream.host, services.connections, services.inFlight);
  std::string answer =
      jsonAnswer(200, "OK", "Cache-Control: no-store\r\n", report, close, head.method == "HEAD");
  client.pending.erase(0, headSize);
  co_return co_await sendWhole(std::move(answer), close);
}

Task<AfterAnswer> ClientConnection::sendWhole(std::string answer, bool close) {
  limit.start(services.limits.head);
  bool sent = client.outbox.send(client.stream, {answer});
  if (sent) sent = co_await client.outbox.flush(client.stream, limit);
  limit.stop();
  if (!sent) co_return AfterAnswer::reset;
  co_return close ? AfterAnswer::close : AfterAnswer::keep;
}

/// A connection that is closed while bytes of the client are unread is reset by the system, and the answer
/// may be lost with it (RFC 9112, section 9.6). So what the client still sends is read for a moment.
Task<> ClientConnection::endAfter(AfterAnswer after) {
  if (after == AfterAnswer::reset) {
    client.stream.socket().reset();
    co_return;
  }
  client.stream.socket().shutdownSending();
  limit.start(services.limits.linger);
  for (;;) {
    const IoResult got = co_await readSome(client.stream, services.block);
    if (got.status != IoStatus::moved) co_return;
  }
}

}  // namespace ferrin::proxy
