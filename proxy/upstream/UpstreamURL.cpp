#include "proxy/upstream/UpstreamURL.h"

#include <boost/asio/ip/address_v6.hpp>
#include <charconv>
#include <stdexcept>

#include "proxy/http/Fields.h"

namespace ferrin::proxy {
namespace {

constexpr std::string_view lettersAndDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view unreservedMarks = "-._~";       // RFC 3986, section 2.3
constexpr std::string_view pathMarks = "!$&'()*+,;=:@/%";  // sections 2.2 and 3.3

[[noreturn]] void refuse(const char* reason) { throw std::invalid_argument(reason); }

bool consistsOf(std::string_view text, std::string_view allowed, std::string_view alsoAllowed) {
  for (const char byte : text) {
    const bool known = lettersAndDigits.find(byte) != std::string_view::npos ||
                       allowed.find(byte) != std::string_view::npos ||
                       alsoAllowed.find(byte) != std::string_view::npos;
    if (!known) return false;
  }
  return true;
}

/// Whether every percent sign begins an encoded byte.
bool encodesWell(std::string_view text) {
  constexpr std::string_view hexDigits = "0123456789ABCDEFabcdef";
  for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 1)) {
    if (at + 2 >= text.size()) return false;
    if (text.substr(at + 1, 2).find_first_not_of(hexDigits) != std::string_view::npos) return false;
  }
  return true;
}

/// Removes and returns the part before `delimiter`, which goes too; all of `rest` where there is none.
std::string_view takeUntil(std::string_view& rest, std::string_view delimiter) {
  const std::size_t at = rest.find(delimiter);
  const std::string_view taken = rest.substr(0, at);
  rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + delimiter.size());
  return taken;
}

/// Removes the scheme with its colon. Whether it is https.
bool takeScheme(std::string_view& rest) {
  const std::size_t colon = rest.find(':');
  if (colon == std::string_view::npos || colon > rest.find_first_of("/?#")) refuse("not a URL");
  const std::string_view scheme = takeUntil(rest, ":");
  const bool secure = sameIgnoringCase(scheme, "https");
  if (!secure && !sameIgnoringCase(scheme, "http")) refuse("the scheme is not http or https");
  return secure;
}

std::uint16_t portOf(std::string_view text, bool secure) {
  if (text.empty()) return secure ? 443 : 80;
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port == 0)
    refuse("the port is not a number from 1 to 65535");
  return port;
}

/// An IPv6 address without its brackets.
std::string_view takeAddress(std::string_view& authority) {
  const bool closed = authority.find(']') != std::string_view::npos;
  authority.remove_prefix(1);
  const std::string_view address = takeUntil(authority, "]");
  boost::system::error_code invalid;
  boost::asio::ip::make_address_v6(std::string(address), invalid);
  if (!closed || invalid || (!authority.empty() && authority.front() != ':'))
    refuse("the IPv6 address is not valid");
  return address;
}

/// A name or an IPv4 address. A name may begin like an address and go on.
std::string_view takeName(std::string_view& authority) {
  const std::size_t colon = std::min(authority.find(':'), authority.size());
  const std::string_view name = authority.substr(0, colon);
  authority.remove_prefix(colon);
  if (!consistsOf(name, unreservedMarks, "")) refuse("the host has a character that no host name has");
  return name;
}

void parseAuthority(std::string_view authority, UpstreamURL& into) {
  if (authority.find('@') != std::string_view::npos) refuse("a user name or password does not belong in it");
  if (authority.empty() || authority.front() == ':') refuse("there is no host");
  const bool bracketed = authority.front() == '[';
  into.host = bracketed ? takeAddress(authority) : takeName(authority);
  if (!authority.empty()) authority.remove_prefix(1);
  into.port = portOf(authority, into.secure);
  into.hostField = bracketed ? "[" + into.host + "]" : into.host;
  if (into.port != (into.secure ? 443 : 80)) into.hostField += ":" + std::to_string(into.port);
}

std::string basePathOf(std::string_view path) {
  if (!consistsOf(path, unreservedMarks, pathMarks) || !encodesWell(path))
    refuse("its path has a character that must be percent-encoded");
  while (!path.empty() && path.back() == '/') path.remove_suffix(1);
  if (path.starts_with("//")) refuse("its path begins with two slashes");
  return std::string(path);
}

/// Throws std::invalid_argument with the problem.
UpstreamURL parsed(std::string_view text) {
  for (const unsigned char byte : text) {
    if (byte <= ' ' || byte == 0x7F) refuse("not a URL");
    if (byte > 0x7F) refuse("it has a character outside ASCII; write a host in another script as xn--…");
  }
  UpstreamURL upstream;
  std::string_view rest = text;
  upstream.secure = takeScheme(rest);
  if (!rest.starts_with("//")) refuse("there is no host");
  rest.remove_prefix(2);
  const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
  rest.remove_prefix(authority.size());
  parseAuthority(authority, upstream);
  if (rest.find_first_of("?#") != std::string_view::npos) refuse("it ends in a query or a fragment");
  upstream.basePath = basePathOf(rest);
  upstream.text = text;
  return upstream;
}

}  // namespace

UpstreamURL parseUpstreamURL(std::string_view text) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  try {
    return parsed(text);
  } catch (const std::invalid_argument& reason) {
    UpstreamURL unusable;
    unusable.problem = reason.what();
    return unusable;
  }
}

}  // namespace ferrin::proxy
