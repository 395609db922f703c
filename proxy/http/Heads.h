#pragma once
// A strict parser of message heads. It refuses whatever two parsers could read differently.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "proxy/http/Fields.h"

namespace ferrin::proxy {

inline constexpr std::size_t maxHeadBytes = std::size_t{64} * 1024;

/// One header field. The texts point into the bytes that were parsed.
struct HeadField {
  Field id;
  Passage passage;
  std::string_view name;
  std::string_view value;  ///< without the white space around it
  std::string_view line;   ///< all of it, line end included; the next field's line follows
};

/// What requests and responses have in common.
struct Head {
  int version = 0;  ///< 10 or 11
  std::vector<HeadField> fields;
  bool chunked = false;
  std::optional<std::uint64_t> contentLength;

  /// The value of the first field `id`, if there is one.
  std::optional<std::string_view> value(Field id) const;
  std::size_t count(Field id) const;
  /// Whether a Connection field lists `token`.
  bool connectionHas(std::string_view token) const;
};

struct RequestHead : Head {
  std::string_view method;
  std::string_view target;
};

struct ResponseHead : Head {
  int status = 0;
  std::string_view reason;
};

/// Returned in place of a head's size when the bytes can't begin a valid head.
inline constexpr std::size_t malformedHead = std::string_view::npos;

/// Takes the head apart that `bytes` begin with. Its size, up to and with its empty line; 0 while that is
/// still to come, or malformedHead for anything malformed or ambiguous: folded lines, bare line ends, both
/// lengths and codings, differing lengths, codings other than chunked, an HTTP/1.1 request without exactly
/// one Host, and a target with a fragment, which some readers cut off.
std::size_t parseRequestHead(std::string_view bytes, RequestHead& into);
std::size_t parseResponseHead(std::string_view bytes, ResponseHead& into);

/// Cheap test whether `bytes` can hold a complete head, of which the first `searched` are known to end none:
/// at first, and when the new bytes end an empty line, or a line without its carriage return. Spares a head
/// that arrives in pieces from being parsed for each piece.
bool mayBeWholeHead(std::string_view bytes, std::size_t searched);

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
