// The command line, one argument a line: it is refused in one line, or all it says holds, in any order.

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <vector>

#include "proxy/Options.h"
#include "tests/fuzz/targets/Claim.h"

using namespace ferrin::proxy;
using ferrin::fuzz::claim;

namespace {

using Arguments = std::vector<std::string_view>;

Arguments linesOf(std::string_view text) {
  Arguments lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

bool isPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0x20 && byte < 0x7F; });
}

void checkUpstream(const UpstreamURL& url) {
  claim(url.port != 0 && !url.host.empty() && isPrintable(url.hostField), "a host and a port");
  claim(url.basePath.empty() || (url.basePath.front() == '/' && url.basePath.back() != '/'), "a base path");
  claim(isPrintable(url.basePath), "nothing that would garble a request line");
  const UpstreamURL again =
      parseUpstreamURL((url.secure ? "https://" : "http://") + url.hostField + url.basePath);
  claim(again.port == url.port && again.host == url.host && again.basePath == url.basePath &&
            again.hostField == url.hostField,
        "Host and path name the same place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = ferrin::fuzz::textOf(data, size);
  if (text.find('\0') != std::string_view::npos) return 0;  // no argument holds one
  Arguments arguments = linesOf(text);
  try {
    const Options options = parseOptions(arguments);
    claim(boost::asio::ip::make_address(options.host).is_loopback(), "only this computer");
    claim(options.timeout.count() >= 1 && !options.apiKeyFile.empty(), "a time-out and a key file");
    checkUpstream(options.upstream);
    std::rotate(arguments.begin(), arguments.begin() + 2, arguments.end());
    const Options again = parseOptions(arguments);
    claim(again.port == options.port && again.upstream.text == options.upstream.text, "in any order");
  } catch (const OptionError& error) {
    claim(!std::string_view(error.what()).empty(), "it says why");
  }
  return 0;
}
