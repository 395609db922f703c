#pragma once
// Where a message's body ends. Bodies are forwarded as the bytes that came in; this follows along and says
// which of them belong to the message, and which of those are passed on: all but trailers, which could carry
// what heads may not (RFC 9110, section 6.5.1).

#include <cstdint>
#include <string>
#include <string_view>

#include "proxy/http/Heads.h"

namespace ferrin::proxy {

/// What stands before a chunk of `size` bytes (RFC 9112, section 7.1).
std::string chunkHeadOf(std::size_t size);
inline constexpr std::string_view lastChunk = "0\r\n\r\n";

class BodyFraming {
 public:
  enum class Kind { none, length, chunked, untilClose };

  /// The body of a request with this head.
  static BodyFraming ofRequest(const RequestHead& head);
  /// The body of the final answer `head` to a request with `method` (RFC 9112, section 6.3).
  static BodyFraming ofResponse(const ResponseHead& head, std::string_view method);
  /// After a switch of protocols: everything up to the end of the connection.
  static BodyFraming tunnel() { return BodyFraming(Kind::untilClose, 0); }

  struct Step {
    std::size_t belonging;  ///< this many bytes at the front are the message's
    std::size_t passing;    ///< this many bytes at the front are passed on
    bool endsTrailers;      ///< the trailer section ends here: an empty line is sent in its place
    bool valid;             ///< false: the framing is broken after the bytes that belong
  };
  /// Follows the next bytes; with `payload`, appends what they carry without the framing.
  Step follow(std::string_view bytes, std::string* payload = nullptr);

  /// The connection has ended, and with it a body of the kind `untilClose`.
  void endHere() { done = true; }

  Kind kind() const { return how; }
  /// Whether the whole body has been seen.
  bool complete() const { return done; }
  /// Bytes of content seen, framing left out.
  std::uint64_t contentBytes() const { return seen; }

 private:
  enum class State : std::uint8_t {
    sizeStart,
    size,
    extensionSpace,
    extension,
    sizeEnd,
    data,
    dataReturn,
    dataEnd,
    trailerStart,
    trailerName,
    trailer,
    trailerEnd,
    end,
  };

  BodyFraming(Kind kind, std::uint64_t length)
      : how(kind), remaining(length), done(kind == Kind::none || (kind == Kind::length && length == 0)) {}
  Step followChunks(std::string_view bytes, std::string* payload);
  bool inTrailers() const { return state >= State::trailerStart; }
  bool takeSizeDigit(char byte);
  bool step(char byte);
  bool afterSize(char byte);

  Kind how;
  State state = State::sizeStart;
  std::uint64_t remaining;  ///< of the length, or of the chunk at hand
  std::uint64_t seen = 0;
  std::size_t lineBytes = 0;  ///< of a chunk's head, or of all trailers
  int sizeDigits = 0;
  bool done;
};

}  // namespace ferrin::proxy
