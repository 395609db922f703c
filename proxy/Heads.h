#pragma once
// Message heads: taken apart by a strict parser, and nothing that two parsers could read differently gets
// past it.

#include <boost/beast/http/field.hpp>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace ferrin::proxy {

inline constexpr std::size_t maxHeadBytes = std::size_t{64} * 1024;

/// One header field. The texts point into the head that was parsed.
struct HeadField {
  boost::beast::http::field id;  ///< `unknown` for names outside the registry
  std::string_view name;
  std::string_view value;
};

/// What requests and answers have in common.
struct Head {
  int version = 0;  ///< 10 or 11
  std::vector<HeadField> fields;
  bool chunked = false;
  std::optional<std::uint64_t> contentLength;

  /// The value of the first field `id`, if there is one.
  std::optional<std::string_view> value(boost::beast::http::field id) const;
  std::size_t count(boost::beast::http::field id) const;
  /// Whether a Connection field lists `token`.
  bool connectionHas(std::string_view token) const;
};

struct RequestHead : Head {
  std::string_view method;
  std::string_view target;
};

struct AnswerHead : Head {
  int status = 0;
  std::string_view reason;
};

/// What endOfHead finds where a line ends in a bare line feed.
inline constexpr std::size_t malformedHead = std::string_view::npos;

/// Where the head that `bytes` begin with ends (behind its empty line), 0 while it is incomplete, or
/// malformedHead. The first `searched` bytes, an earlier result of 0, are not looked at again.
std::size_t endOfHead(std::string_view bytes, std::size_t searched);

/// Takes a complete head apart. False for anything malformed or ambiguous: folded lines, bare line ends, both
/// lengths and codings, differing lengths, codings other than chunked, an HTTP/1.1 request without exactly
/// one Host, a target with a fragment, which some cut off, and CONNECT, whose answer others take for a
/// tunnel.
bool parseRequestHead(std::string_view head, RequestHead& into);
bool parseAnswerHead(std::string_view head, AnswerHead& into);

/// Whether two texts are equal but for the case of ASCII letters.
bool sameIgnoringCase(std::string_view one, std::string_view other);
/// Calls `visit` with each member of a comma-separated list.
template <typename Visit>
void eachListMember(std::string_view list, Visit visit) {
  while (!list.empty()) {
    const std::size_t comma = std::min(list.find(','), list.size());
    std::string_view member = list.substr(0, comma);
    list.remove_prefix(std::min(comma + 1, list.size()));
    const std::size_t begin = member.find_first_not_of(" \t");
    if (begin == std::string_view::npos) continue;
    member = member.substr(begin, member.find_last_not_of(" \t") - begin + 1);
    visit(member);
  }
}

}  // namespace ferrin::proxy
