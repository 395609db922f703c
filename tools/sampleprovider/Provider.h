#pragma once
// From a request to the reply that it gets, and the bytes of the reply's head. No sockets, no clock of its
// own.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/sampleprovider/Answer.h"
#include "tools/sampleprovider/Options.h"

namespace ferrin::sampleprovider {

struct Request {
  std::string_view method;
  std::string_view target;
  std::string_view authorization;
  std::string_view body;
};

/// A body of known length, or the events of a stream.
struct Reply {
  unsigned status = 200;
  std::string body;
  std::optional<Events> events;
  /// Header lines that only this reply has, each with its line end.
  std::string extraHeader;
};

class Provider {
 public:
  Provider(const Options& options, std::string key);

  /// What the request gets. Requests are numbered, and their answers after them.
  Reply reply(const Request& request, std::int64_t now);

 private:
  const Options& options;
  std::string expectedAuthorization;
  std::shared_ptr<const AnswerText> filler;
  std::uint64_t requests = 0;

  Reply replyTo(const Request& request, std::int64_t now);
  Reply answerTo(std::string_view body, std::int64_t now);
};

/// An error in the provider's shape.
Reply errorReply(unsigned status, std::string_view message);

/// How the connection that a reply goes out on is used.
struct ReplyFraming {
  unsigned httpVersion = 11;
  bool keepAlive = true;
};

/// Whether the reply's body is sent in chunks: streams to clients that know them.
bool isChunked(const Reply& reply, ReplyFraming framing);
/// The reply's head, its empty line included.
std::string head(const Reply& reply, ReplyFraming framing);

/// Appends `data` as one chunk. Nothing is appended for no data: an empty chunk would end the body.
void appendChunk(std::string& out, std::string_view data);
inline constexpr std::string_view lastChunk = "0\r\n\r\n";

}  // namespace ferrin::sampleprovider
