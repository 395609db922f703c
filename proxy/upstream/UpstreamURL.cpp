#include "proxy/upstream/UpstreamURL.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <charconv>
#include <stdexcept>

namespace ferrin::proxy {
namespace {

using Scheme = boost::urls::scheme;

std::uint16_t portOf(const boost::urls::url_view& url, bool secure) {
  const std::string_view digits(url.port().data(), url.port().size());
  if (digits.empty()) return secure ? 443 : 80;
  std::uint16_t port = 0;  // url.port_number() lets some numbers over 65535 wrap around
  const auto error = std::from_chars(digits.data(), digits.data() + digits.size(), port).ec;
  if (error != std::errc() || port == 0)
    throw std::invalid_argument("the port is not a number from 1 to 65535");
  return port;
}

std::string withoutTrailingSlashes(std::string path) {
  while (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

void refuseWhatCantBeKept(const boost::urls::url_view& url) {
  if (url.scheme_id() != Scheme::http && url.scheme_id() != Scheme::https)
    throw std::invalid_argument("the scheme is not http or https");
  if (!url.has_authority() || url.encoded_host().empty()) throw std::invalid_argument("there is no host");
  if (url.has_userinfo()) throw std::invalid_argument("a user name or password does not belong in it");
  // The parser takes what is behind the digits of a mistyped port for a path.
  if (!url.encoded_path().empty() && url.encoded_path().front() != '/')
    throw std::invalid_argument("the port is not a number from 1 to 65535");
  if (url.has_query() || url.has_fragment()) throw std::invalid_argument("it ends in a query or a fragment");
}

}  // namespace

UpstreamURL parseUpstreamURL(std::string_view text) {
  const auto parsed = boost::urls::parse_uri(boost::core::string_view(text.data(), text.size()));
  if (!parsed) throw std::invalid_argument("not a URL");
  const boost::urls::url_view& url = *parsed;
  refuseWhatCantBeKept(url);
  UpstreamURL upstream;
  upstream.secure = url.scheme_id() == Scheme::https;
  upstream.port = portOf(url, upstream.secure);
  upstream.host = url.host_address();
  upstream.basePath = withoutTrailingSlashes(std::string(url.encoded_path()));
  if (upstream.basePath.starts_with("//")) throw std::invalid_argument("its path begins with two slashes");
  upstream.hostField = std::string(url.encoded_host());
  if (upstream.port != (upstream.secure ? 443 : 80))
    upstream.hostField += ":" + std::to_string(upstream.port);
  upstream.text = text;
  return upstream;
}

}  // namespace ferrin::proxy
