#pragma once
// A client's connection from its first byte to its last: request after request.

#include <boost/intrusive/list.hpp>
#include <optional>
#include <string>

#include "proxy/Client.h"
#include "proxy/Exchange.h"
#include "proxy/Services.h"
#include "proxy/http/Heads.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

class ClientConnection
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  ClientConnection(Services& shared, Descriptor connected);
  ClientConnection(const ClientConnection&) = delete;
  ClientConnection& operator=(const ClientConnection&) = delete;

  /// Serves requests until the connection ends or there is to be no other one.
  Task<> serve();
  /// Says that there are too many connections, and ends.
  Task<> turnAway();

  /// Ends the connection if no request is under way.
  void stopIfIdle();
  /// Ends it, request or not.
  void abandon();

 private:
  enum class HeadResult { complete, incomplete, tooLarge, malformed, gone };

  HeadResult beginHead();
  HeadResult readMore(const IoResult& got);
  HeadResult findHead();
  Task<AfterAnswer> answer();
  Task<AfterAnswer> refuse(const RequestHead& head, RelayError error, std::string_view cause);
  Task<AfterAnswer> refuseUnreadable(RelayError error);
  Task<AfterAnswer> answerHealth(const RequestHead& head);
  Task<AfterAnswer> sendWhole(std::string answer, bool close);
  Task<> endAfter(AfterAnswer after);

  std::optional<RelayError> refusalOf(const RequestHead& head);
  bool isSomebodyElse();
  bool closesAfter(const RequestHead& head) const;

  Services& services;
  Client client;
  Deadline limit;
  bool ours = false;  ///< known to belong to this user
  Exchange* exchange = nullptr;
  std::size_t headSize = 0;
  std::size_t headSearched = 0;  ///< of client.pending, for the head's end
  bool headBegun = false;        ///< some of it has come
};

}  // namespace ferrin::proxy
