#include "proxy/upstream/Proxy.h"

#include <arpa/inet.h>

#include <algorithm>
#include <boost/asio/ip/address_v6.hpp>
#include <cstdlib>
#include <stdexcept>

#include "proxy/http/Fields.h"

namespace ferrin::proxy {
namespace {

constexpr std::string_view thisMachine = "localhost,127.0.0.0/8,::1";
constexpr std::string_view usualPort = "1080";  // libcurl's, for each kind of proxy
constexpr std::string_view separators = ", \t";

std::string_view withoutTrailingDot(std::string_view name) {
  if (name.ends_with('.')) name.remove_suffix(1);
  return name;
}

/// Whether `name` is `domain` or ends in a dot and `domain`.
bool isWithin(std::string_view name, std::string_view domain) {
  domain = withoutTrailingDot(domain);
  if (domain.starts_with('.')) domain.remove_prefix(1);
  if (domain.empty() || domain.size() > name.size()) return false;
  const std::string_view before = name.substr(0, name.size() - domain.size());
  return (before.empty() || before.ends_with('.')) && sameIgnoringCase(name.substr(before.size()), domain);
}

/// `block` is an address, or one with the number of bits that count. No bits, or none that are a number, mean
/// the address alone.
bool isInBlock(in_addr address, std::string_view block) {
  const std::size_t slash = block.find('/');
  in_addr first{};
  if (inet_pton(AF_INET, std::string(block.substr(0, slash)).c_str(), &first) != 1) return false;
  const int bits =
      slash == std::string_view::npos ? 0 : std::atoi(std::string(block.substr(slash + 1)).c_str());
  if (bits < 0 || bits > 32) return false;
  const std::uint32_t mask = bits == 0 ? UINT32_MAX : UINT32_MAX << (32U - static_cast<unsigned>(bits));
  return ((ntohl(address.s_addr) ^ ntohl(first.s_addr)) & mask) == 0;
}

/// The shortest form of an IPv6 address, in which libcurl compares it; any other host as it is.
std::string normalized(const std::string& host) {
  boost::system::error_code notOne;
  const auto address = boost::asio::ip::make_address_v6(host, notOne);
  return notOne ? host : address.to_string();
}

int hexDigit(char byte) {
  constexpr std::string_view digits = "0123456789abcdef0123456789ABCDEF";
  const std::size_t at = digits.find(byte);
  return at == std::string_view::npos ? -1 : static_cast<int>(at % 16);
}

/// A percent sign that begins no encoded byte stands for itself.
std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool encoded =
        text[at] == '%' && at + 2 < text.size() && hexDigit(text[at + 1]) >= 0 && hexDigit(text[at + 2]) >= 0;
    result += encoded ? static_cast<char>(16 * hexDigit(text[at + 1]) + hexDigit(text[at + 2])) : text[at];
    if (encoded) at += 2;
    if (static_cast<unsigned char>(result.back()) < ' ')
      throw std::invalid_argument("the proxy's address holds a control character");
  }
  return result;
}

/// Removes the scheme and its slashes, where there are any.
Proxy::Kind takeKind(std::string_view& rest) {
  const std::size_t colon = rest.find(":/");
  if (colon == std::string_view::npos) return Proxy::Kind::http;
  const std::string_view scheme = rest.substr(0, colon);
  rest.remove_prefix(colon + 1);
  for (int slashes = 0; slashes < 3 && rest.starts_with('/'); ++slashes) rest.remove_prefix(1);
  if (sameIgnoringCase(scheme, "http")) return Proxy::Kind::http;
  if (sameIgnoringCase(scheme, "socks5")) return Proxy::Kind::socks5;
  if (sameIgnoringCase(scheme, "socks5h")) return Proxy::Kind::socks5h;
  for (const char* known : {"https", "socks4", "socks4a", "socks"}) {
    if (sameIgnoringCase(scheme, known))
      throw std::invalid_argument("the relay speaks to no proxy of the kind " + std::string(known) + "://");
  }
  throw std::invalid_argument("the proxy's address has an unknown scheme");
}

/// Removes the user information, where there is any.
std::optional<Proxy::Login> takeLogin(std::string_view& authority) {
  const std::size_t at = authority.find('@');
  if (at == std::string_view::npos) return std::nullopt;
  const std::string_view text = authority.substr(0, at);
  authority.remove_prefix(at + 1);
  const std::size_t colon = std::min(text.find(':'), text.size());
  return Proxy::Login{decoded(text.substr(0, colon)), decoded(text.substr(std::min(colon + 1, text.size())))};
}

std::string withPort(std::string authority) {
  const std::size_t bracket = authority.rfind(']');
  if (authority.find(':', bracket == std::string::npos ? 0 : bracket) == std::string::npos) authority += ':';
  if (authority.ends_with(':')) authority += usualPort;
  return authority;
}

/// Path and query are ignored; host and port are read as the upstream's are.
Proxy parseProxy(std::string_view text) {
  Proxy proxy;
  proxy.kind = takeKind(text);
  std::string_view authority = text.substr(0, text.find_first_of("/?#"));
  proxy.login = takeLogin(authority);
  const UpstreamURL place = parseUpstreamURL("http://" + withPort(decoded(authority)));
  if (!place.problem.empty())
    throw std::invalid_argument("the proxy's address can't be used: " + place.problem);
  proxy.host = place.host;
  proxy.port = place.port;
  const bool isV6 = proxy.host.find(':') != std::string::npos;
  proxy.name = (isV6 ? "[" + proxy.host + "]" : proxy.host) + ":" + std::to_string(proxy.port);
  return proxy;
}

}  // namespace

bool isException(std::string_view exceptions, const std::string& host) {
  if (exceptions == "*") return true;
  in_addr address{};
  const bool isAddress = inet_aton(host.c_str(), &address) != 0;  // "127.1" too, as look-ups read it
  const std::string name = normalized(host);
  while (!exceptions.empty()) {
    const std::size_t end = std::min(exceptions.find_first_of(separators), exceptions.size());
    const std::string_view entry = exceptions.substr(0, end);
    exceptions.remove_prefix(std::min(end + 1, exceptions.size()));
    if (isAddress ? isInBlock(address, entry) : isWithin(withoutTrailingDot(name), entry)) return true;
  }
  return false;
}

std::optional<Proxy> proxyFor(const UpstreamURL& upstream, const ProxySettings& settings) {
  const std::string& setting = upstream.secure ? settings.forHttps : settings.forHttp;
  if (setting.empty() || isException(thisMachine, upstream.host) ||
      isException(settings.exceptions, upstream.host))
    return std::nullopt;
  return parseProxy(setting);
}

}  // namespace ferrin::proxy
