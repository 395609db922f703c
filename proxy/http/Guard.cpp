#include "proxy/http/Guard.h"

#include <algorithm>
#include <charconv>

#include "proxy/http/Targets.h"

namespace ferrin::proxy {
namespace {

bool isPort(std::string_view text, std::uint16_t port) {
  std::uint16_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value == port;
}

/// Without a port, an authority means port 80 (RFC 9110, section 4.2.1).
bool namesThisRelay(std::string_view authority, const OwnAddress& own) {
  for (const std::string_view name : {std::string_view("127.0.0.1"), std::string_view("localhost"),
                                      std::string_view("[::1]"), std::string_view(own.host)}) {
    if (authority.size() < name.size() || !sameIgnoringCase(authority.substr(0, name.size()), name)) continue;
    const std::string_view rest = authority.substr(name.size());
    if (rest.empty()) return own.port == 80;
    if (rest.front() == ':') return isPort(rest.substr(1), own.port);
  }
  return false;
}

bool isFromWebPage(const RequestHead& head) {
  return std::any_of(head.fields.begin(), head.fields.end(), [](const HeadField& field) {
    return field.id == Field::origin ||
           (field.id == Field::secFetchSite && !sameIgnoringCase(field.value, "none"));
  });
}

}  // namespace

std::optional<RelayError> refusal(const RequestHead& head, const OwnAddress& own) {
  if (head.method == "TRACE" || head.method == "CONNECT") return RelayError::methodNotAllowed;
  const std::string_view authority = splitTarget(head.target).authority;
  const auto host = head.value(Field::host);
  if (!host || !namesThisRelay(*host, own)) return RelayError::forbiddenHost;
  if (!authority.empty() && !namesThisRelay(authority, own)) return RelayError::forbiddenHost;
  if (isFromWebPage(head)) return RelayError::forbiddenOrigin;
  return std::nullopt;
}

}  // namespace ferrin::proxy
