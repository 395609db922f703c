#include "tools/sampleprovider/Connection.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <ctime>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace ferrin::sampleprovider {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;
using Parser = http::request_parser<http::string_body>;
using TlsStream = asio::ssl::stream<tcp::socket>;

/// Beast would read 512 bytes at a time from a buffer without a reserve.
constexpr std::size_t readBytes = 16 << 10;
constexpr std::uint64_t maxBodyBytes = 1 << 30;
constexpr std::chrono::seconds closeWithin{1};

std::string_view view(boost::beast::string_view text) { return {text.data(), text.size()}; }

tcp::socket& socketOf(tcp::socket& stream) { return stream; }
tcp::socket& socketOf(TlsStream& stream) { return stream.next_layer(); }

template <class Stream>
class Connection : public std::enable_shared_from_this<Connection<Stream>> {
 public:
  Connection(Stream clientStream, Shared& sharedParts)
      : stream(std::move(clientStream)), shared(sharedParts), wake(stream.get_executor()) {
    buffer.reserve(readBytes);
  }

  asio::awaitable<void> serve() {
    if (!co_await handshake()) co_return;
    bool goOn = true;
    while (goOn) {
      Parser parser;
      parser.body_limit(maxBodyBytes);
      const bool received = co_await receive(parser);
      if (!received) break;
      goOn = co_await respond(parser.get());
    }
    co_await close();
  }

 private:
  Stream stream;
  Shared& shared;
  boost::beast::flat_buffer buffer;
  asio::steady_timer wake;
  error_code failure;
  bool watching = false;
  bool clientGone = false;
  bool counted = false;

  /// The token of every operation: its error goes to `failure`.
  auto intoFailure() { return asio::redirect_error(asio::use_awaitable, failure); }

  asio::awaitable<bool> handshake() {
    if constexpr (std::is_same_v<Stream, TlsStream>) {
      co_await stream.async_handshake(asio::ssl::stream_base::server, intoFailure());
      co_return !failure;
    }
    co_return true;
  }

  asio::awaitable<bool> send(asio::const_buffer bytes) {
    co_await asio::async_write(stream, bytes, intoFailure());
    co_return !failure;
  }

  // --- a request

  /// False when there is none: the connection ended, or what came has been refused.
  asio::awaitable<bool> receive(Parser& parser) {
    co_await watchEnd();
    if (clientGone) co_return false;
    co_await http::async_read_header(stream, buffer, parser, intoFailure());
    if (!failure) co_await receiveBody(parser);
    if (!failure) co_return true;
    if (parser.got_some()) co_await refuse(failure);
    co_return false;
  }

  asio::awaitable<void> receiveBody(Parser& parser) {
    static constexpr std::string_view goAhead = "HTTP/1.1 100 Continue\r\n\r\n";
    if (parser.is_done()) co_return;
    if (boost::beast::iequals(parser.get()[http::field::expect], "100-continue")) {
      co_await send(asio::buffer(goAhead));
      if (failure) co_return;
    }
    co_await http::async_read(stream, buffer, parser, intoFailure());
  }

  /// Answers what could not be read as a request; a client that left in the middle of one is only counted.
  asio::awaitable<void> refuse(error_code reason) {
    count();
    const bool unparsable = reason.category() == http::make_error_code(http::error::bad_version).category();
    if (!unparsable || reason == http::error::partial_message) {
      end(Sent::clientGone);
      co_return;
    }
    const bool tooLarge = reason == http::error::body_limit;
    const Reply reply =
        errorReply(tooLarge ? 413 : 400, tooLarge ? "The body is too large." : reason.message());
    const Sent sent = co_await sendWhole(reply, {11, false}, reply.body.size());
    end(sent);
  }

  // --- its reply

  /// False when the connection is not to be used any longer.
  asio::awaitable<bool> respond(const Parser::value_type& message) {
    const ReplyFraming wanted{message.version(), message.keep_alive()};
    if (message.target() == "/stats") {
      const Reply reply{200, toJson(shared.statistics), {}, {}};
      const Sent sent = co_await sendWhole(reply, wanted, reply.body.size());
      co_return sent == Sent::all&& wanted.keepAlive;
    }
    count();
    Reply reply = shared.provider.reply({view(message.method_string()), view(message.target()),
                                         view(message[http::field::authorization]), message.body()},
                                        std::time(nullptr));
    const bool untilClose = reply.events && !isChunked(reply, wanted);
    const ReplyFraming framing{wanted.httpVersion, wanted.keepAlive && !untilClose};
    const Sent sent = co_await sendInTime(reply, framing);
    end(sent);
    co_return sent == Sent::all&& framing.keepAlive;
  }

  asio::awaitable<Sent> sendInTime(Reply& reply, ReplyFraming framing) {
    const bool willPause = reply.events && shared.options.interval.count() > 0;
    if (shared.options.delay.count() > 0 || willPause) watch();
    if (shared.options.delay.count() > 0) {
      const bool stayed = co_await pauseUntil(Clock::now() + shared.options.delay);
      if (!stayed) co_return Sent::clientGone;
    }
    if (reply.events) co_return co_await sendEvents(reply, framing);
    const bool breaks = shared.options.breakOff && reply.status == 200;
    co_return co_await sendWhole(reply, framing, breaks ? reply.body.size() / 2 : reply.body.size());
  }

  /// The head, and of the body the first `bodyBytes`.
  asio::awaitable<Sent> sendWhole(const Reply& reply, ReplyFraming framing, std::size_t bodyBytes) {
    std::string bytes = head(reply, framing);
    bytes.append(reply.body, 0, bodyBytes);
    const bool arrived = co_await send(asio::buffer(bytes));
    if (!arrived) co_return Sent::clientGone;
    co_return bodyBytes < reply.body.size() ? Sent::brokenOff : Sent::all;
  }

  /// One write for each event, as a provider does that makes them one by one.
  asio::awaitable<Sent> sendEvents(Reply& reply, ReplyFraming framing) {
    Events& events = *reply.events;
    const bool chunked = isChunked(reply, framing);
    std::string bytes = head(reply, framing);
    std::string event;
    auto due = Clock::now();
    std::uint64_t sent = 0;
    while (!events.atEnd() && !breaksAfter(sent)) {
      if (events.isLaterDelta()) due += shared.options.interval;
      const bool stayed = co_await pauseUntil(due);
      if (!stayed) co_return Sent::clientGone;
      event.clear();
      events.appendNext(event);
      ++sent;
      chunked ? appendChunk(bytes, event) : void(bytes += event);
      if (chunked && events.atEnd() && !breaksAfter(sent)) bytes += lastChunk;
      const bool arrived = co_await send(asio::buffer(bytes));
      if (!arrived) co_return Sent::clientGone;
      bytes.clear();
    }
    const bool arrived = co_await send(asio::buffer(bytes));  // a head without events
    if (!arrived) co_return Sent::clientGone;
    co_return breaksAfter(sent) ? Sent::brokenOff : Sent::all;
  }

  bool breaksAfter(std::uint64_t sent) const {
    return shared.options.breakOff && shared.options.breakOff->afterEvents == sent;
  }

  // --- pauses, and clients that leave in one

  /// Reads ahead, so that a client that leaves is noticed while nothing is sent to it. What it reads is the
  /// beginning of the next request. Where that is here already, nothing is read and a leaving client noticed
  /// late.
  void watch() {
    if (buffer.size() > 0) return;
    watching = true;
    stream.async_read_some(buffer.prepare(readBytes),
                           [self = this->shared_from_this()](error_code error, std::size_t count) {
                             self->buffer.commit(count);
                             self->watching = false;
                             self->clientGone = error.failed();
                             self->wake.cancel();
                           });
  }

  asio::awaitable<void> watchEnd() {
    while (watching) {
      wake.expires_at(Clock::time_point::max());
      co_await wake.async_wait(intoFailure());
    }
  }

  /// False when the client left meanwhile.
  asio::awaitable<bool> pauseUntil(Clock::time_point due) {
    while (!clientGone && Clock::now() < due) {
      wake.expires_at(due);
      co_await wake.async_wait(intoFailure());
    }
    co_return !clientGone;
  }

  // --- the end

  void count() { shared.statistics.countRequest(!std::exchange(counted, true)); }

  void end(Sent sent) {
    shared.statistics.countEnd(sent);
    if (sent == Sent::brokenOff) breakOff();
  }

  void breakOff() {
    tcp::socket& socket = socketOf(stream);
    if (shared.options.breakOff->with == BreakOff::With::reset) {
      socket.set_option(asio::socket_base::linger(true, 0), failure);
    }
    socket.close(failure);
  }

  asio::awaitable<void> close() {
    tcp::socket& socket = socketOf(stream);
    socket.cancel(failure);
    co_await watchEnd();
    if constexpr (std::is_same_v<Stream, TlsStream>) {
      wake.expires_after(closeWithin);
      wake.async_wait([self = this->shared_from_this()](error_code error) {
        if (!error) socketOf(self->stream).close(error);
      });
      co_await stream.async_shutdown(intoFailure());
      wake.cancel();
    }
    socket.shutdown(tcp::socket::shutdown_send, failure);
    socket.close(failure);
  }
};

template <class Stream>
void start(Stream stream, Shared& shared) {
  const auto executor = stream.get_executor();
  auto connection = std::make_shared<Connection<Stream>>(std::move(stream), shared);
  asio::co_spawn(
      executor, [connection]() -> asio::awaitable<void> { co_await connection->serve(); }, asio::detached);
}

}  // namespace

void serveConnection(tcp::socket socket, Shared& shared) { start(std::move(socket), shared); }

void serveConnection(tcp::socket socket, asio::ssl::context& context, Shared& shared) {
  start(TlsStream(std::move(socket), context), shared);
}

}  // namespace ferrin::sampleprovider
