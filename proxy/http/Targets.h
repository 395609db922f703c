#pragma once
// Request targets: their parts, and where a request to the relay goes at the upstream.

#include <optional>
#include <string>
#include <string_view>

namespace ferrin::proxy {

/// A request's target in origin form, with the authority that it named, if any (RFC 9112, section 3.2.2).
struct Target {
  std::string_view authority;
  std::string_view pathAndQuery;
};

/// The parts of an absolute-form or origin-form target. The views point into `target`.
Target splitTarget(std::string_view target);

/// The path alone.
inline std::string_view withoutQuery(std::string_view target) { return target.substr(0, target.find('?')); }

/// The path of a target in any form, for the log: without the query, and without the user and password that
/// may stand in an authority. "-" for a target without a path.
std::string_view pathForLog(std::string_view target);

/// Where `target`, the path and query of a request to the relay, goes at an upstream whose base URL has the
/// path `basePath` (empty, or beginning and not ending with "/"). Nothing for a target outside `/v1`, for one
/// that would leave the base by a dot segment (RFC 3986, section 5.2.4; also percent-encoded), and for one
/// that would begin with "//" at the upstream. What follows `/v1` is kept byte for byte.
std::optional<std::string> upstreamTarget(std::string_view basePath, std::string_view target);

}  // namespace ferrin::proxy
