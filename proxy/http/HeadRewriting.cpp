#include "proxy/http/HeadRewriting.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace ferrin::proxy {
namespace {

constexpr std::string_view lineEnd = "\r\n";
/// What a client's head rarely exceeds, and malloc takes from blocks that it has at hand (glibc: up to
/// 1,032).
constexpr std::size_t usualHeadBytes = 1000;

bool isGoAheadWish(const HeadField& field) {
  return field.id == Field::expect && sameIgnoringCase(field.value, "100-continue");
}

/// The field names that Connection lists besides its own words, sorted, as a hostile head has thousands;
/// empty for nearly every message.
std::vector<std::string_view> namedByConnection(const Head& head) {
  std::vector<std::string_view> names;
  for (const HeadField& field : head.fields) {
    if (field.id != Field::connection) continue;
    eachListMember(field.value, [&](std::string_view member) {
      if (!sameIgnoringCase(member, "close") && !sameIgnoringCase(member, "keep-alive"))
        names.push_back(member);
    });
  }
  std::sort(names.begin(), names.end(), beforeIgnoringCase);
  return names;
}

template <typename Text>
void appendField(Text& out, std::string_view name, std::string_view value) {
  out.append(name).append(": ").append(value).append(lineEnd);
}

/// Whether an item of Sec-WebSocket-Protocol is the key that browsers send this way, having no other.
bool isKeyItem(std::string_view item) {
  constexpr std::string_view prefix = "openai-insecure-api-key.";
  return item.size() >= prefix.size() && sameIgnoringCase(item.substr(0, prefix.size()), prefix);
}

bool carriesKey(const HeadField& field) {
  bool found = false;
  if (field.id == Field::webSocketProtocol)
    eachListMember(field.value, [&found](std::string_view item) { found = found || isKeyItem(item); });
  return found;
}

/// Appends a Sec-WebSocket-Protocol without its key; nothing if there is no other item.
template <typename Text>
void appendWithoutKey(Text& out, const HeadField& field) {
  std::string others;
  eachListMember(field.value, [&others](std::string_view item) {
    if (!isKeyItem(item)) others.append(others.empty() ? "" : ", ").append(item);
  });
  if (!others.empty()) appendField(out, field.name, others);
}

std::string_view written(std::uint64_t number, std::array<char, 24>& digits) {
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

/// Appends the fields that go on in `direction`, but for those that `stops` picks. Lines that stand one
/// after the other are copied in one piece.
template <typename Text, typename Stops>
void appendPassingFields(Text& out, const Head& head, Passage direction, Stops stops,
                         std::optional<std::uint64_t> length) {
  const auto named = namedByConnection(head);
  bool lengthWritten = !length;
  std::array<char, 24> digits;
  std::string_view run;
  for (const HeadField& field : head.fields) {
    const bool rewritten = direction == Passage::requests && carriesKey(field);
    const bool passes =
        !rewritten && (field.passage == Passage::both || field.passage == direction) && !stops(field) &&
        (named.empty() || !std::binary_search(named.begin(), named.end(), field.name, beforeIgnoringCase));
    if (passes) {
      run = run.empty() ? field.line : std::string_view(run.data(), run.size() + field.line.size());
      continue;
    }
    out.append(std::exchange(run, {}));
    if (rewritten) appendWithoutKey(out, field);
    if (field.id == Field::contentLength && !std::exchange(lengthWritten, true))
      appendField(out, field.name, written(*length, digits));
  }
  out.append(run);
}

void appendStatusLine(std::string& out, const ResponseHead& head) {
  std::array<char, 24> digits;
  const auto status = written(static_cast<std::uint64_t>(head.status), digits);
  out.append("HTTP/1.1 ").append(status).append(" ").append(head.reason).append(lineEnd);
}

}  // namespace

bool asksForWebSocket(const RequestHead& head) {
  const auto upgrade = head.value(Field::upgrade);
  return head.version == 11 && head.method == "GET" && upgrade && sameIgnoringCase(*upgrade, "websocket") &&
         head.connectionHas("upgrade");
}

bool expectsContinue(const RequestHead& head) {
  return head.version == 11 && std::any_of(head.fields.begin(), head.fields.end(), isGoAheadWish);
}

bool hasZstdBody(const RequestHead& head) {
  const auto coding = head.value(Field::contentEncoding);
  const bool hasBody = head.chunked || head.contentLength.value_or(0) > 0;
  return hasBody && coding && !asksForWebSocket(head) && head.count(Field::contentEncoding) == 1 &&
         sameIgnoringCase(*coding, "zstd");
}

void appendUpstreamHead(SecretString& out, const RequestHead& head, const Addressing& to,
                        std::string_view target, std::string_view key) {
  const bool decoded = hasZstdBody(head);
  out.reserve(usualHeadBytes);
  out.append(head.method).append(" ").append(to.origin).append(target).append(" HTTP/1.1\r\n");
  appendField(out, "Host", to.host);
  out.append(to.proxyField);
  appendPassingFields(
      out, head, Passage::requests,
      [decoded](const HeadField& field) {
        return isGoAheadWish(field) || (decoded && field.id == Field::contentEncoding);
      },
      decoded ? std::nullopt : head.contentLength);
  out.append("Authorization: Bearer ").append(key).append(lineEnd);
  if (decoded) return;
  if (head.chunked) appendField(out, "Transfer-Encoding", "chunked");
  if (asksForWebSocket(head)) out.append("Connection: Upgrade\r\nUpgrade: websocket\r\n");
  out.append(lineEnd);
}

BodyForm bodyForm(BodyFraming::Kind upstreamBody, int clientVersion) {
  if (upstreamBody == BodyFraming::Kind::chunked && clientVersion == 10) return BodyForm::bare;
  if (upstreamBody == BodyFraming::Kind::untilClose && clientVersion == 11) return BodyForm::chunked;
  return BodyForm::asReceived;
}

void appendClientHead(std::string& out, const ResponseHead& head, BodyForm form, int clientVersion,
                      bool close) {
  appendStatusLine(out, head);
  appendPassingFields(
      out, head, Passage::responses, [](const HeadField&) { return false; }, head.contentLength);
  const bool chunked = form == BodyForm::chunked || (form == BodyForm::asReceived && head.chunked);
  if (chunked && clientVersion == 11) appendField(out, "Transfer-Encoding", "chunked");
  if (close) appendField(out, "Connection", "close");
  out.append(lineEnd);
}

void appendInformationalHead(std::string& out, const ResponseHead& head) {
  appendStatusLine(out, head);
  appendPassingFields(
      out, head, Passage::responses, [](const HeadField&) { return false; }, head.contentLength);
  if (head.status == 101) out.append("Connection: Upgrade\r\nUpgrade: websocket\r\n");
  out.append(lineEnd);
}

}  // namespace ferrin::proxy
