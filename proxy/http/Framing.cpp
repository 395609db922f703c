#include "proxy/http/Framing.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace ferrin::proxy {
namespace {

constexpr int maxSizeDigits = 15;  // more content than any disk holds, and no overflow
constexpr std::size_t maxChunkHeadBytes = 4096;
constexpr std::string_view lineEnd = "\r\n";
constexpr std::size_t maxTrailerBytes = std::size_t{16} * 1024;

/// What may stand in a chunk extension or a trailer: no control characters but the tab.
bool isLineByte(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value == '\t' || (value >= 0x20 && value != 0x7F);
}

/// What a field's name is made of (RFC 9110, section 5.6.2).
bool isNameByte(char byte) {
  const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
  return letter || (byte >= '0' && byte <= '9') ||
         (byte != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(byte) != std::string_view::npos);
}

int hexValue(char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

}  // namespace

std::string chunkHeadOf(std::size_t size) {
  std::array<char, 2 * sizeof size> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), size, 16).ptr;
  return std::string(digits.data(), end) + "\r\n";
}

BodyFraming BodyFraming::ofRequest(const RequestHead& head) {
  if (head.chunked) return BodyFraming(Kind::chunked, 0);
  return head.contentLength ? BodyFraming(Kind::length, *head.contentLength) : BodyFraming(Kind::none, 0);
}

BodyFraming BodyFraming::ofResponse(const ResponseHead& head, std::string_view method) {
  if (method == "HEAD" || head.status == 204 || head.status == 304) return BodyFraming(Kind::none, 0);
  if (head.chunked) return BodyFraming(Kind::chunked, 0);
  return head.contentLength ? BodyFraming(Kind::length, *head.contentLength)
                            : BodyFraming(Kind::untilClose, 0);
}

BodyFraming::Step BodyFraming::follow(std::string_view bytes, std::string* payload) {
  if (how == Kind::chunked) return followChunks(bytes, payload);
  const std::size_t belonging =
      how == Kind::untilClose ? bytes.size() : std::min<std::uint64_t>(remaining, bytes.size());
  if (how == Kind::length) {
    remaining -= belonging;
    done = remaining == 0;
  }
  seen += belonging;
  if (payload != nullptr) payload->append(bytes.substr(0, belonging));
  return {belonging, belonging, false, true};
}

BodyFraming::Step BodyFraming::followChunks(std::string_view bytes, std::string* payload) {
  const bool wasDone = done;
  std::size_t at = 0;
  std::size_t passing = 0;
  while (at < bytes.size() && !done) {
    const bool inSizeLine = state == State::sizeEnd;
    if (state == State::data) {
      const std::size_t count = std::min<std::uint64_t>(remaining, bytes.size() - at);
      if (payload != nullptr) payload->append(bytes.substr(at, count));
      remaining -= count;
      seen += count;
      at += count;
      if (remaining == 0) state = State::dataReturn;
    } else if (state == State::trailerStart && bytes.substr(at).starts_with(lineEnd) && lineBytes == 0) {
      done = true;  // the usual end, without trailers: passed on as it came
      return {at + lineEnd.size(), at + lineEnd.size(), false, true};
    } else if (step(bytes[at])) {
      ++at;
    } else {
      return {at, passing, false, false};
    }
    if (!inTrailers() || inSizeLine) passing = at;
  }
  return {at, passing, done && !wasDone, true};
}

bool BodyFraming::takeSizeDigit(char byte) {
  const int digit = hexValue(byte);
  if (digit < 0 || ++sizeDigits > maxSizeDigits) return false;
  remaining = remaining * 16 + static_cast<unsigned>(digit);
  state = State::size;
  return true;
}

/// A byte after the digits of a chunk's size. White space there must lead to an extension (RFC 9112, 7.1.1).
bool BodyFraming::afterSize(char byte) {
  if (byte == ';') {
    state = State::extension;
  } else if (byte == ' ' || byte == '\t') {
    state = State::extensionSpace;
  } else if (byte == '\r' && state == State::size) {
    state = State::sizeEnd;
  } else {
    return false;
  }
  return true;
}

/// Takes one byte of framing; false if it can't stand there.
bool BodyFraming::step(char byte) {
  const auto expect = [&](char wanted, State next) {
    if (byte == wanted) state = next;
    return byte == wanted;
  };
  if (++lineBytes > (state >= State::trailerStart ? maxTrailerBytes : maxChunkHeadBytes)) return false;
  switch (state) {
    case State::sizeStart:
      remaining = 0;
      sizeDigits = 0;
      return takeSizeDigit(byte);
    case State::size:
      return hexValue(byte) >= 0 ? takeSizeDigit(byte) : afterSize(byte);
    case State::extensionSpace:
      return afterSize(byte);
    case State::extension:
      return byte == '\r' ? expect('\r', State::sizeEnd) : isLineByte(byte);
    case State::sizeEnd:
      lineBytes = 0;
      return expect('\n', remaining > 0 ? State::data : State::trailerStart);
    case State::dataReturn:
      return expect('\r', State::dataEnd);
    case State::dataEnd:
      lineBytes = 0;
      return expect('\n', State::sizeStart);
    case State::trailerStart:
      if (byte == '\r') return expect('\r', State::end);
      return isNameByte(byte) && expect(byte, State::trailerName);
    case State::trailerName:
      return byte == ':' ? expect(':', State::trailer) : isNameByte(byte);
    case State::trailer:
      return byte == '\r' ? expect('\r', State::trailerEnd) : isLineByte(byte);
    case State::trailerEnd:
      return expect('\n', State::trailerStart);
    case State::end:
      done = byte == '\n';
      return done;
    case State::data:
      break;
  }
  return false;
}

}  // namespace ferrin::proxy
