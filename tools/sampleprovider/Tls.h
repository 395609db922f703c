#pragma once
// The TLS side of the provider: a certificate and key from files, or self-made.

#include <boost/asio/ssl/context.hpp>

#include "tools/sampleprovider/Options.h"

namespace ferrin::sampleprovider {

/// A server's context for TLS 1.2 and later. A self-made certificate is good for localhost, 127.0.0.1 and ::1
/// and for a day; it is written where asked, its key stays in memory. Throws std::runtime_error naming the
/// file that can't be used.
boost::asio::ssl::context serverContext(const TlsFiles& files);

}  // namespace ferrin::sampleprovider
