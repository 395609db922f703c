#include "proxy/http/Fields.h"

#include <algorithm>
#include <array>

namespace ferrin::proxy {
namespace {

// Fields of one connection (RFC 9110, section 7.6.1) pass neither way, nor do those that say how long the
// body is, which are written anew. A request's credentials and account marks stop here, and so does what
// would have the client identify itself later.
constexpr KnownField table[] = {
    // in the order of their length
    {"TE", Passage::neither},
    {"Host", Passage::responses, Field::host},
    {"Cookie", Passage::responses},
    {"Expect", Passage::both, Field::expect},
    {"Origin", Passage::both, Field::origin},
    {"Api-Key", Passage::responses},
    {"Trailer", Passage::neither},
    {"Upgrade", Passage::neither, Field::upgrade},
    {"X-Api-Key", Passage::responses},
    {"Connection", Passage::neither, Field::connection},
    {"Keep-Alive", Passage::neither},
    {"Set-Cookie", Passage::requests, Field::setCookie},
    {"Authorization", Passage::responses, Field::authorization},
    {"Content-Length", Passage::neither, Field::contentLength},
    {"OpenAI-Project", Passage::responses},
    {"Sec-Fetch-Site", Passage::both, Field::secFetchSite},
    {"X-Ferrin-Relay", Passage::requests},
    {"Content-Encoding", Passage::both, Field::contentEncoding},
    {"Proxy-Connection", Passage::neither},
    {"Transfer-Encoding", Passage::neither, Field::transferEncoding},
    {"ChatGPT-Account-Id", Passage::responses},
    {"OpenAI-Organization", Passage::responses},
    {"Proxy-Authorization", Passage::responses},
    {"Sec-WebSocket-Protocol", Passage::both, Field::webSocketProtocol},
};
constexpr KnownField unknown{"", Passage::both};

constexpr bool shorter(const KnownField& one, const KnownField& other) {
  return one.name.size() < other.name.size();
}
static_assert(std::is_sorted(std::begin(table), std::end(table), shorter));

constexpr std::size_t longestName = std::rbegin(table)->name.size();

/// Where the rows with names of each length begin in the table; they end where those of the next length
/// begin.
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

/// Whether `name` means the known field. Many servers take "_" for "-", so a request's credentials stop in
/// that spelling too; all other rows are about the exact name.
bool means(std::string_view name, const KnownField& known) {
  if (lower(name.front()) != lower(known.name.front())) return false;  // as most are told apart
  if (sameIgnoringCase(name, known.name)) return true;
  if (known.passage != Passage::responses || name.size() != known.name.size()) return false;
  return std::equal(name.begin(), name.end(), known.name.begin(), [](char given, char wanted) {
    return lower(given == '_' ? '-' : given) == lower(wanted);
  });
}

}  // namespace

const KnownField& knownField(std::string_view name) {
  if (name.size() > longestName) return unknown;
  const auto* const begin = std::begin(table) + rowsByLength[name.size()];
  const auto* const end = std::begin(table) + rowsByLength[name.size() + 1];
  const auto* const row =
      std::find_if(begin, end, [name](const KnownField& known) { return means(name, known); });
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
