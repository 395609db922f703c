// A base URL in the first line and a request's target in the second: what is accepted names one place,
// however it is written, and it is where the request goes.

#include <algorithm>

#include "proxy/http/Targets.h"
#include "proxy/upstream/UpstreamURL.h"
#include "tests/fuzz/targets/Claim.h"

using namespace ferrin::proxy;
using ferrin::fuzz::claim;

namespace {

void checkUpstream(const UpstreamURL& url) {
  const std::string place = url.hostField + url.basePath;
  claim(url.port != 0 && !url.host.empty(), "a host and a port");
  claim(url.basePath.empty() || (url.basePath.front() == '/' && url.basePath.back() != '/'), "a base path");
  claim(std::all_of(place.begin(), place.end(), [](char byte) { return byte > 0x20 && byte < 0x7F; }),
        "nothing that would garble a request line");
  const UpstreamURL again = parseUpstreamURL((url.secure ? "https://" : "http://") + place);
  claim(again.port == url.port && again.host == url.host && again.hostField + again.basePath == place,
        "Host and path name the same place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = ferrin::fuzz::textOf(data, size);
  const std::size_t line = bytes.find('\n');
  if (line == std::string_view::npos) return 0;
  const UpstreamURL upstream = parseUpstreamURL(bytes.substr(0, line));
  if (!upstream.problem.empty()) return 0;
  checkUpstream(upstream);
  const Target target = splitTarget(bytes.substr(line + 1));
  claim(bytes.ends_with(target.pathAndQuery), "the target's end is kept");
  const auto mapped = upstreamTarget(upstream.basePath, target.pathAndQuery);
  if (!mapped) return 0;
  claim(target.pathAndQuery.starts_with("/v1"), "nothing outside /v1");
  const std::string_view rest = target.pathAndQuery.substr(3);
  claim(rest.empty() || rest.front() == '/' || rest.front() == '?', "nothing beside /v1");
  const bool bare = upstream.basePath.empty() && !rest.starts_with('/');
  claim(*mapped == upstream.basePath + (bare ? "/" : "") + std::string(rest), "the rest, byte for byte");
  claim(rest.find("/../") == std::string_view::npos || rest.find('?') < rest.find("/../"), "no way up");
  claim(mapped->front() == '/' && !mapped->starts_with("//"), "a path, and never a host");
  return 0;
}
