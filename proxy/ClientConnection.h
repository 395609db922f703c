#pragma once

#include <boost/intrusive/list.hpp>
#include <optional>
#include <string>

#include "proxy/Client.h"
#include "proxy/Exchange.h"
#include "proxy/Services.h"
#include "proxy/http/Heads.h"
#include "proxy/loop/CancellationSlot.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

/// A client's connection from its first byte to its last: request after request. Lives in the coroutine that
/// awaits serve() or turnAway(), and is found by the server through its list.
class ClientConnection
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  /// Throws std::system_error when the loop can't watch the socket.
  ClientConnection(Services& shared, FileDescriptor connected);
  ClientConnection(const ClientConnection&) = delete;
  ClientConnection& operator=(const ClientConnection&) = delete;

  /// Serves requests until the connection ends or is to carry no other one. Throws std::bad_alloc when there
  /// is not even the memory to refuse a request.
  Task<> serve();
  /// Answers with `error`, whatever is asked, and ends.
  Task<> turnAway(RelayError error);

  /// Ends the connection unless a request is being forwarded or answered.
  void stopIfIdle();
  /// Ends the connection at once, by a reset while a request is being served. serve() may end within this
  /// call.
  void abort();

 private:
  /// `none`: the client has left, or its time is over, or the relay stops.
  enum class HeadResult { complete, incomplete, tooLarge, malformed, none };

  /// What the relay answers itself.
  struct OwnResponse {
    std::string text;
    bool close = false;  ///< the connection ends with it
  };

  HeadResult beginHead();
  HeadResult readMore(const IoResult& got);
  HeadResult findHead();
  Task<AfterResponse> respond();
  OwnResponse decide(const RequestHead& head, std::optional<Exchange>& exchange);
  OwnResponse refuse(const RequestHead& head, RelayError error, std::string_view cause);
  OwnResponse refuseUnreadable(RelayError error);
  void logRefusal(std::string_view method, std::string_view path, RelayError error, std::string_view cause);
  OwnResponse reportHealth(const RequestHead& head);
  Task<AfterResponse> send(const OwnResponse& response);
  Task<> endAfter(AfterResponse after);

  bool closesAfter(const RequestHead& head) const;

  Services& services;
  Client client;
  Timer limit;
  CancellationSlot currentExchange;  ///< filled while a request is being forwarded
  std::size_t headSize = 0;
  std::size_t headSearched = 0;  ///< bytes of client.pending that are known to end no head
  bool headBegun = false;        ///< some of it has arrived
  bool answering = false;        ///< a response of the relay's own is being sent
  bool aborted = false;
};

}  // namespace ferrin::proxy
