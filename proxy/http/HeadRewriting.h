#pragma once
// Writes the heads that the relay sends. Fields that concern one connection, credentials and account marks
// are left out; all others pass unchanged and in order. Which they are is the table of Fields.cpp.

#include <string>
#include <string_view>

#include "proxy/http/Framing.h"
#include "proxy/http/Heads.h"
#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

/// Whether the client asks to switch this connection to WebSocket (RFC 6455).
bool asksForWebSocket(const RequestHead& head);
/// Whether the client waits for 100 Continue before it sends the body (RFC 9110, section 10.1.1).
bool expectsContinue(const RequestHead& head);

/// Whether the body is to be decoded on its way: its only content coding is zstd.
bool hasZstdBody(const RequestHead& head);

/// How requests are addressed.
struct Addressing {
  std::string host;  ///< the Host field's value
  std::string origin =
      {};  ///< for a proxy that reads them, "http://HOST" (RFC 9112, section 3.2.2); else empty
  std::string proxyField = {};  ///< a whole line for that proxy, or empty
};

/// Appends the request's head for the upstream: addressed to `target` there, with the stored key, one length
/// or coding at most. With hasZstdBody() it ends before the line that says how long the body is, which the
/// caller adds with the empty line.
void appendUpstreamHead(SecretString& out, const RequestHead& head, const Addressing& to,
                        std::string_view target, std::string_view key);

/// How a response's body goes out to the client.
enum class BodyForm {
  asReceived,  ///< byte for byte, or none
  chunked,     ///< the upstream's ends with its connection, the client's with its last chunk
  bare,        ///< without chunk framing: the client's ends with the connection (HTTP/1.0)
};
BodyForm bodyForm(BodyFraming::Kind upstreamBody, int clientVersion);

/// Appends a response's head for a client of `clientVersion`. `close` announces that its connection ends with
/// this response.
void appendClientHead(std::string& out, const ResponseHead& head, BodyForm form, int clientVersion,
                      bool close);
/// Appends an informational response's head: 100 to 199, 101 included, which keeps its Upgrade.
void appendInformationalHead(std::string& out, const ResponseHead& head);

}  // namespace ferrin::proxy
