#include "proxy/HeadRewriting.h"

#include <algorithm>
#include <array>
#include <boost/beast/core/string.hpp>

namespace ferrin::proxy {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using Field = http::field;

constexpr std::string_view lineEnd = "\r\n";

/// Fields of one connection (RFC 9110, section 7.6.1), and those that say how long the body is, which are
/// written anew.
bool isConnectionField(Field id) {
  switch (id) {
    case Field::connection:
    case Field::keep_alive:
    case Field::proxy_connection:
    case Field::te:
    case Field::transfer_encoding:
    case Field::upgrade:
    case Field::content_length:
      return true;
    default:
      return false;
  }
}

bool isClientSecret(const HeadField& field) {
  switch (field.id) {
    case Field::authorization:
    case Field::proxy_authorization:
    case Field::cookie:
      return true;
    case Field::unknown:
      break;
    default:
      return false;
  }
  constexpr std::array<std::string_view, 5> secrets{"X-Api-Key", "Api-Key", "ChatGPT-Account-Id",
                                                    "OpenAI-Organization", "OpenAI-Project"};
  return std::any_of(secrets.begin(), secrets.end(),
                     [&](std::string_view name) { return sameIgnoringCase(field.name, name); });
}

bool isGoAheadWish(const HeadField& field) {
  return field.id == Field::expect && sameIgnoringCase(field.value, "100-continue");
}

bool ordered(std::string_view one, std::string_view other) {
  return beast::iless()({one.data(), one.size()}, {other.data(), other.size()});
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
  std::sort(names.begin(), names.end(), ordered);
  return names;
}

void appendField(std::string& out, std::string_view name, std::string_view value) {
  out.append(name).append(": ").append(value).append(lineEnd);
}

/// Appends the fields that pass, leaving out those that `stops` picks.
template <typename Stops>
void appendPassingFields(std::string& out, const Head& head, Stops stops) {
  const auto named = namedByConnection(head);
  bool lengthWritten = false;
  for (const HeadField& field : head.fields) {
    if (field.id == Field::content_length && !std::exchange(lengthWritten, true) && head.contentLength) {
      appendField(out, field.name, std::to_string(*head.contentLength));
    } else if (!isConnectionField(field.id) && !stops(field) &&
               !std::binary_search(named.begin(), named.end(), field.name, ordered)) {
      appendField(out, field.name, field.value);
    }
  }
}

void appendStatusLine(std::string& out, const AnswerHead& head) {
  out.append("HTTP/1.1 ").append(std::to_string(head.status)).append(" ").append(head.reason).append(lineEnd);
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

void appendUpstreamHead(std::string& out, const RequestHead& head, const UpstreamURL& upstream,
                        std::string_view target, std::string_view key) {
  std::size_t size = 256 + head.method.size() + target.size() + upstream.hostField.size() + key.size();
  for (const HeadField& field : head.fields) size += field.name.size() + field.value.size() + 4;
  out.reserve(out.size() + size);  // at once, so that no outgrown copy of the key is left in memory
  out.append(head.method).append(" ").append(target).append(" HTTP/1.1\r\n");
  appendField(out, "Host", upstream.hostField);
  appendPassingFields(out, head, [](const HeadField& field) {
    return field.id == Field::host || isGoAheadWish(field) || isClientSecret(field);
  });
  out.append("Authorization: Bearer ").append(key).append(lineEnd);
  if (head.chunked) appendField(out, "Transfer-Encoding", "chunked");
  if (asksForWebSocket(head)) out.append("Connection: Upgrade\r\nUpgrade: websocket\r\n");
  out.append(lineEnd);
}

BodyForm bodyForm(BodyFraming::Kind upstreamBody, int clientVersion) {
  if (upstreamBody == BodyFraming::Kind::chunked && clientVersion == 10) return BodyForm::bare;
  if (upstreamBody == BodyFraming::Kind::untilClose && clientVersion == 11) return BodyForm::chunked;
  return BodyForm::asReceived;
}

void appendClientHead(std::string& out, const AnswerHead& head, BodyForm form, bool close) {
  appendStatusLine(out, head);
  appendPassingFields(out, head, [](const HeadField& field) { return field.id == Field::set_cookie; });
  const bool chunked = form == BodyForm::chunked || (form == BodyForm::asReceived && head.chunked);
  if (chunked) appendField(out, "Transfer-Encoding", "chunked");
  if (close) appendField(out, "Connection", "close");
  out.append(lineEnd);
}

void appendInformationalHead(std::string& out, const AnswerHead& head) {
  appendStatusLine(out, head);
  appendPassingFields(out, head, [](const HeadField& field) { return field.id == Field::set_cookie; });
  if (head.status == 101) out.append("Connection: Upgrade\r\nUpgrade: websocket\r\n");
  out.append(lineEnd);
}

}  // namespace ferrin::proxy
