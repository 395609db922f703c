#include "proxy/upstream/ProxyTunnel.h"

#include <openssl/evp.h>

#include <array>
#include <boost/asio/ip/address.hpp>

#include "proxy/http/Heads.h"
#include "proxy/loop/SendBuffer.h"

namespace ferrin::proxy {
namespace {

using namespace std::string_literals;

// SOCKS, by the sections of RFC 1928.
constexpr char version = 5;
constexpr char noLogin = 0;  // section 3
constexpr char withPassword = 2;
constexpr std::size_t maxTextBytes = 255;  // as its length is one byte

Task<> send(Stream& stream, const std::string& bytes) {
  SendBuffer buffer;
  Timer unlimited([] {});
  bool sent = buffer.send(stream, {bytes});
  if (sent) sent = co_await buffer.flush(stream, unlimited);
  if (!sent) throw TunnelError(stream.problem());
}

std::size_t received(const IoResult& result, const Stream& stream) {
  if (result.status == IoStatus::moved) return result.bytes;
  throw TunnelError(result.status == IoStatus::failed ? stream.problem() : "closed without a reply");
}

Task<std::string> receive(Stream& stream, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t count = 0; count < size;)
    count += received(co_await readSome(stream, std::span(bytes).subspan(count)), stream);
  co_return bytes;
}

/// The status of the final response.
Task<int> receiveStatus(Stream& stream) {
  std::string bytes;
  std::array<char, 2048> block;
  ResponseHead head;
  for (;;) {
    const std::size_t searched = bytes.size();
    bytes.append(block.data(), received(co_await readSome(stream, block), stream));
    std::size_t size = mayBeWholeHead(bytes, searched) ? parseResponseHead(bytes, head) : 0;
    while (size != 0 && size != malformedHead && head.status < 200) {
      bytes.erase(0, size);
      size = parseResponseHead(bytes, head);
    }
    if (size == malformedHead || bytes.size() > maxHeadBytes)
      throw TunnelError("did not answer as an HTTP proxy does");
    if (size == 0) continue;
    if (head.status < 300 && size < bytes.size()) throw TunnelError("put bytes of its own into the tunnel");
    co_return head.status;
  }
}

Task<> connect(Stream& stream, const Proxy& proxy, const std::string& host, std::uint16_t port) {
  const bool isV6 = host.find(':') != std::string::npos;
  const std::string authority = (isV6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
  const std::string request =
      "CONNECT " + authority + " HTTP/1.1\r\nHost: " + authority + "\r\n" + loginField(proxy) + "\r\n";
  co_await send(stream, request);
  const int status = co_await receiveStatus(stream);
  if (status < 300) co_return;
  const bool forLogin = status == 407 || status == 401;  // which tinyproxy sends for a wrong password
  throw TunnelError("refused with status " + std::to_string(status),
                    forLogin ? RelayError::proxyLoginRefused : RelayError::proxyRefused);
}

/// `text` with its length as a first byte.
std::string counted(const std::string& text) {
  if (text.size() > maxTextBytes) throw TunnelError("takes no name, user or password of over 255 bytes");
  return static_cast<char>(text.size()) + text;
}

std::string socksAddress(const std::string& host) {
  boost::system::error_code isName;
  const auto address = boost::asio::ip::make_address(host, isName);
  if (isName) return "\3" + counted(host);
  const auto bytes = [](const auto& numbers) { return std::string(numbers.begin(), numbers.end()); };
  return address.is_v4() ? "\1" + bytes(address.to_v4().to_bytes())
                         : "\4" + bytes(address.to_v6().to_bytes());
}

/// Section 6.
std::string socksProblem(char code) {
  constexpr std::array reasons{"a failure of its own",     "a connection that its rules don't allow",
                               "network unreachable",      "host unreachable",
                               "connection refused",       "the time to live expired",
                               "connecting not supported", "this kind of address not supported"};
  const auto at = static_cast<unsigned char>(code) - 1U;
  return "reports "s + (at < reasons.size() ? reasons.at(at) : "an unknown failure");
}

Task<> agreeOnLogin(Stream& stream, const Proxy& proxy) {
  const std::string greeting = proxy.login ? "\5\2\0\2"s : "\5\1\0"s;
  co_await send(stream, greeting);
  const std::string choice = co_await receive(stream, 2);
  if (choice[0] != version) throw TunnelError("did not answer as a SOCKS 5 proxy does");
  if (choice[1] == noLogin) co_return;
  if (choice[1] != withPassword || !proxy.login)
    throw TunnelError("refused to serve without another login", RelayError::proxyLoginRefused);
  const std::string login = "\1" + counted(proxy.login->user) + counted(proxy.login->password);
  co_await send(stream, login);
  const std::string answer = co_await receive(stream, 2);
  if (answer[1] != 0) throw TunnelError("refused the user or the password", RelayError::proxyLoginRefused);
}

Task<> socksConnect(Stream& stream, const Proxy& proxy, const std::string& host, std::uint16_t port) {
  co_await agreeOnLogin(stream, proxy);
  const std::string request =
      "\5\1\0"s + socksAddress(host) + static_cast<char>(port >> 8U) + static_cast<char>(port);
  co_await send(stream, request);
  const std::string reply = co_await receive(stream, 2);
  if (reply[0] != version) throw TunnelError("did not answer as a SOCKS 5 proxy does");
  if (reply[1] != 0) throw TunnelError(socksProblem(reply[1]), RelayError::proxyRefused);
  const std::string own =
      co_await receive(stream, 3);  // reserved, kind and first byte of the proxy's own address
  const std::size_t nameBytes = static_cast<unsigned char>(own[2]) + std::size_t{1};
  const std::size_t addressBytes = own[1] == 1 ? 4 : own[1] == 4 ? 16 : nameBytes;
  co_await receive(stream, addressBytes - 1 + sizeof port);
}

}  // namespace

Task<> openTunnel(Stream& stream, const Proxy& proxy, const std::string& host, std::uint16_t port) {
  return proxy.kind == Proxy::Kind::http ? connect(stream, proxy, host, port)
                                         : socksConnect(stream, proxy, host, port);
}

/// RFC 7617, section 2.
std::string loginField(const Proxy& proxy) {
  if (!proxy.login) return "";
  const std::string plain = proxy.login->user + ":" + proxy.login->password;
  std::string encoded(4 * (plain.size() / 3 + 1) + 1, '\0');
  const int size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                      reinterpret_cast<const unsigned char*>(plain.data()), static_cast<int>(plain.size()));
  encoded.resize(static_cast<std::size_t>(size));
  return "Proxy-Authorization: Basic " + encoded + "\r\n";
}

}  // namespace ferrin::proxy
