#pragma once
// Message heads: taken apart by a strict parser, and nothing that two parsers could read differently gets
// past it.

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

/// What requests and answers have in common.
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

/// What is found instead of a head's size where there will never be a whole one.
inline constexpr std::size_t malformedHead = std::string_view::npos;

/// Takes the head apart that `bytes` begin with. Its size, up to and with its empty line; 0 while that is
/// still to come, or malformedHead for anything malformed or ambiguous: folded lines, bare line ends, both
/// lengths and codings, differing lengths, codings other than chunked, an HTTP/1.1 request without exactly
/// one Host, and a target with a fragment, which some readers cut off.
std::size_t parseRequestHead(std::string_view bytes, RequestHead& into);
std::size_t parseResponseHead(std::string_view bytes, ResponseHead& into);

/// Whether parsing `bytes` is worth it: at first, and when an empty line, or a line without its carriage
/// return, has ended behind the first `searched` of them. So a head that comes in bits is not parsed for each
/// bit.
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
