// A base URL in the first line and a request's target in the second: where the request goes.

#include <stdexcept>

#include "proxy/Guard.h"
#include "proxy/UpstreamURL.h"
#include "tests/fuzz/targets/Claim.h"

using namespace ferrin::proxy;
using ferrin::fuzz::claim;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = ferrin::fuzz::textOf(data, size);
  const std::size_t line = bytes.find('\n');
  if (line == std::string_view::npos) return 0;
  UpstreamURL upstream;
  try {
    upstream = parseUpstreamURL(bytes.substr(0, line));
  } catch (const std::invalid_argument&) {
    return 0;
  }
  const Target target = splitTarget(bytes.substr(line + 1));
  claim(bytes.ends_with(target.pathAndQuery), "the target's end is kept");
  const auto mapped = upstreamTarget(upstream, target.pathAndQuery);
  if (!mapped) return 0;
  claim(target.pathAndQuery.starts_with("/v1"), "nothing outside /v1");
  const std::string_view rest = target.pathAndQuery.substr(3);
  claim(rest.empty() || rest.front() == '/' || rest.front() == '?', "nothing beside /v1");
  const bool bare = upstream.basePath.empty() && !rest.starts_with('/');
  claim(*mapped == upstream.basePath + (bare ? "/" : "") + std::string(rest), "the rest, byte for byte");
  claim(mapped->front() == '/' && !mapped->starts_with("//"), "a path, and never a host");
  return 0;
}
