#pragma once
// One client connection, plain or TLS, from its first request to its end.

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include "tools/sampleprovider/Options.h"
#include "tools/sampleprovider/Provider.h"
#include "tools/sampleprovider/Statistics.h"

namespace ferrin::sampleprovider {

/// What all connections share. Outlives them.
struct Shared {
  const Options& options;
  Provider& provider;
  Statistics& statistics;
};

/// Serves the requests that arrive on `socket` on the socket's own executor, until either side ends it. An
/// idle client may stay for as long as it likes. A client that leaves while an answer or its next event is
/// waited for is noticed at once.
void serveConnection(boost::asio::ip::tcp::socket socket, Shared& shared);
/// The same over TLS. `context` outlives the connection.
void serveConnection(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& context, Shared& shared);

}  // namespace ferrin::sampleprovider
