#include "proxy/http/Fields.h"

#include <algorithm>
#include <array>

namespace ferrin::proxy {
namespace {

// Fields of one connection (RFC 9110, section 7.6.1) and those that say how long the body is, which are
// written anew, pass neither way. What tells who the client is does not reach the upstream, and what would
// have it tell does not reach the client.
constexpr KnownField table[] = {
    // in the order of their length
    {"TE", Field::te, Passage::neither},
    {"Host", Field::host, Passage::responses},
    {"Cookie", Field::cookie, Passage::responses},
    {"Expect", Field::expect, Passage::both},
    {"Origin", Field::origin, Passage::both},
    {"Api-Key", Field::apiKey, Passage::responses},
    {"Upgrade", Field::upgrade, Passage::neither},
    {"X-Api-Key", Field::xApiKey, Passage::responses},
    {"Connection", Field::connection, Passage::neither},
    {"Keep-Alive", Field::keepAlive, Passage::neither},
    {"Set-Cookie", Field::setCookie, Passage::requests},
    {"Authorization", Field::authorization, Passage::responses},
    {"Content-Length", Field::contentLength, Passage::neither},
    {"OpenAI-Project", Field::openAIProject, Passage::responses},
    {"Sec-Fetch-Site", Field::secFetchSite, Passage::both},
    {"Proxy-Connection", Field::proxyConnection, Passage::neither},
    {"Transfer-Encoding", Field::transferEncoding, Passage::neither},
    {"ChatGPT-Account-Id", Field::chatGPTAccountId, Passage::responses},
    {"OpenAI-Organization", Field::openAIOrganization, Passage::responses},
    {"Proxy-Authorization", Field::proxyAuthorization, Passage::responses},
};
constexpr KnownField unknown{"", Field::other, Passage::both};

constexpr bool shorter(const KnownField& one, const KnownField& other) {
  return one.name.size() < other.name.size();
}
static_assert(std::is_sorted(std::begin(table), std::end(table), shorter));

constexpr std::size_t longestName = std::rbegin(table)->name.size();

/// Where the rows with names of each length begin in the table; they end where those of the next begin.
constexpr auto rowsByLength = [] {
  std::array<std::uint8_t, longestName + 2> begins{};
  for (const KnownField& row : table) {
    for (std::size_t length = row.name.size() + 1; length < begins.size(); ++length) ++begins.at(length);
  }
  return begins;
}();

constexpr char lower(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

}  // namespace

const KnownField& knownField(std::string_view name) {
  if (name.size() > longestName) return unknown;
  const auto* const begin = std::begin(table) + rowsByLength[name.size()];
  const auto* const end = std::begin(table) + rowsByLength[name.size() + 1];
  const auto* const row = std::find_if(
      begin, end, [name](const KnownField& known) { return sameIgnoringCase(known.name, name); });
  return row == end ? unknown : *row;
}

bool sameIgnoringCase(std::string_view one, std::string_view other) {
  if (one.size() != other.size()) return false;
  for (std::size_t at = 0; at < one.size(); ++at) {
    if (one[at] != other[at] && lower(one[at]) != lower(other[at])) return false;
  }
  return true;
}

bool beforeIgnoringCase(std::string_view one, std::string_view other) {
  return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end(),
                                      [](char left, char right) { return lower(left) < lower(right); });
}

}  // namespace ferrin::proxy
