#include "proxy/http/Heads.h"

#include <array>
#include <charconv>

namespace ferrin::proxy {
namespace {

constexpr std::size_t usualFields = 24;      // what hardly any head exceeds
constexpr std::size_t maxKeptFields = 1024;  // room for more is given back

// Classes of bytes.
constexpr std::uint8_t inName = 1;    // of a field or a method: a token (RFC 9110, section 5.6.2)
constexpr std::uint8_t inTarget = 2;  // no white space, no control character
constexpr std::uint8_t inText = 4;    // of a value or a reason: no control character but the tab
constexpr std::uint8_t blank = 8;     // around a value

constexpr std::uint8_t classesOf(unsigned byte) {
  const bool printable = byte > 0x20 && byte != 0x7F;
  const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
  const bool digit = byte >= '0' && byte <= '9';
  const bool mark =
      printable && byte < 0x80 &&
      std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(byte)) != std::string_view::npos;
  std::uint8_t classes = 0;
  if (letter || digit || mark) classes |= inName;
  if (printable) classes |= inTarget;
  if (printable || byte == ' ' || byte == '\t') classes |= inText;
  if (byte == ' ' || byte == '\t') classes |= blank;
  return classes;
}

constexpr auto byteClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  for (unsigned byte = 0; byte < classes.size(); ++byte) classes.at(byte) = classesOf(byte);
  return classes;
}();

bool isOf(char byte, std::uint8_t wanted) {
  return (byteClasses[static_cast<unsigned char>(byte)] & wanted) != 0;
}

/// A position in a head. Each take function moves it past what it names; where that does not match, the
/// position stays at the first byte that differs, or at the end where more bytes are needed to tell.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : begin(text.data()), at(begin), end(begin + text.size()) {}

  std::size_t position() const { return static_cast<std::size_t>(at - begin); }
  bool isAtEnd() const { return at == end; }
  bool isAt(char byte) const { return at != end && *at == byte; }
  std::string_view since(std::size_t position) const { return {begin + position, at}; }

  bool take(char byte) {
    if (!isAt(byte)) return false;
    ++at;
    return true;
  }
  bool takeLineEnd() { return take('\r') && take('\n'); }

  /// All bytes of the class that follow.
  std::string_view takeAll(std::uint8_t wanted) {
    const char* const first = at;
    at = std::find_if(first, end, [wanted](char byte) { return !isOf(byte, wanted); });
    return {first, at};
  }

  /// HTTP/1.0 or HTTP/1.1.
  bool takeVersion(int& version) {
    for (const char byte : std::string_view("HTTP/1.")) {
      if (!take(byte)) return false;
    }
    version = isAt('1') ? 11 : 10;
    return take('1') || take('0');
  }

 private:
  const char* begin;
  const char* at;
  const char* end;
};

bool takeStartLine(Cursor& cursor, RequestHead& into) {
  if (cursor.take('\r')) return false;  // an empty line's, which the caller skips once it is complete
  into.method = cursor.takeAll(inName);
  if (into.method.empty() || !cursor.take(' ')) return false;
  into.target = cursor.takeAll(inTarget);
  return !into.target.empty() && cursor.take(' ') && cursor.takeVersion(into.version) && cursor.takeLineEnd();
}

bool isStatus(std::string_view digits, int& status) {
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), status);
  return digits.size() == 3 && error == std::errc() && end == digits.data() + 3 && status >= 100;
}

/// Some servers leave out the space before a reason that is empty.
bool takeStartLine(Cursor& cursor, ResponseHead& into) {
  if (!cursor.takeVersion(into.version) || !cursor.take(' ')) return false;
  if (!isStatus(cursor.takeAll(inName), into.status)) return false;
  into.reason = cursor.take(' ') ? cursor.takeAll(inText) : std::string_view();
  return cursor.takeLineEnd();
}

std::string_view withoutTrailingBlanks(std::string_view text) {
  while (!text.empty() && isOf(text.back(), blank)) text.remove_suffix(1);
  return text;
}

bool takeField(Cursor& cursor, Head& into) {
  const std::size_t begin = cursor.position();
  const std::string_view name = cursor.takeAll(inName);
  if (name.empty() || !cursor.take(':')) return false;
  cursor.takeAll(blank);
  const std::string_view value = withoutTrailingBlanks(cursor.takeAll(inText));
  if (!cursor.takeLineEnd()) return false;
  const KnownField& known = knownField(name);
  into.fields.push_back({known.id, known.passage, name, value, cursor.since(begin)});
  return true;
}

/// Takes all fields and the empty line.
bool takeFields(Cursor& cursor, Head& into) {
  if (into.fields.capacity() > maxKeptFields) into.fields = {};
  into.fields.clear();
  into.fields.reserve(usualFields);
  while (!cursor.isAt('\r')) {
    if (!takeField(cursor, into)) return false;
  }
  return cursor.takeLineEnd();
}

/// Takes note of one more Content-Length. False if it is no number, or another one than before.
bool noteLength(Head& into, std::string_view digits) {
  std::uint64_t length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (error != std::errc() || end != digits.data() + digits.size()) return false;
  if (into.contentLength && into.contentLength != length) return false;
  into.contentLength = length;
  return true;
}

/// Whether the head says in one way only how long its body is.
bool noteFraming(Head& into) {
  into.chunked = false;
  into.contentLength.reset();
  for (const HeadField& field : into.fields) {
    if (field.id == Field::contentLength && !noteLength(into, field.value)) return false;
    if (field.id != Field::transferEncoding) continue;
    if (into.chunked || !sameIgnoringCase(field.value, "chunked")) return false;
    into.chunked = true;
  }
  return !into.chunked || (into.version == 11 && !into.contentLength);
}

bool isAcceptable(const RequestHead& head) {
  if (head.target.find('#') != std::string_view::npos) return false;
  const std::size_t hosts = head.count(Field::host);
  return head.version == 11 ? hosts == 1 : hosts <= 1;
}

bool isAcceptable(const ResponseHead&) { return true; }

template <typename Kind>
std::size_t parse(std::string_view bytes, Kind& into) {
  Cursor cursor(bytes);
  if (!takeStartLine(cursor, into) || !takeFields(cursor, into)) return cursor.isAtEnd() ? 0 : malformedHead;
  return noteFraming(into) && isAcceptable(into) ? cursor.position() : malformedHead;
}

}  // namespace

std::optional<std::string_view> Head::value(Field id) const {
  for (const HeadField& field : fields) {
    if (field.id == id) return field.value;
  }
  return std::nullopt;
}

std::size_t Head::count(Field id) const {
  return static_cast<std::size_t>(
      std::count_if(fields.begin(), fields.end(), [id](const HeadField& field) { return field.id == id; }));
}

bool Head::connectionHas(std::string_view token) const {
  bool found = false;
  for (const HeadField& field : fields) {
    if (field.id != Field::connection) continue;
    eachListMember(field.value,
                   [&](std::string_view member) { found = found || sameIgnoringCase(member, token); });
  }
  return found;
}

std::size_t parseRequestHead(std::string_view bytes, RequestHead& into) { return parse(bytes, into); }

std::size_t parseResponseHead(std::string_view bytes, ResponseHead& into) {
  const std::size_t size = parse(bytes, into);
  if (into.status < 200 || into.status == 204) {  // never with a body, whatever they announce
    into.chunked = false;
    into.contentLength.reset();
  }
  return size;
}

bool mayBeWholeHead(std::string_view bytes, std::size_t searched) {
  if (searched == 0) return true;
  for (std::size_t at = bytes.find('\n', searched); at != std::string_view::npos;
       at = bytes.find('\n', at + 1)) {
    if (at < 3 || bytes[at - 1] != '\r' || bytes.substr(at - 3, 2) == "\r\n") return true;
  }
  return false;
}

}  // namespace ferrin::proxy
