// The proxies of the network settings. An automatic configuration script is not run: requests then use no
// proxy.

#include <CFNetwork/CFNetwork.h>
#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <memory>
#include <type_traits>

#include "providertest/SystemProxy.h"

namespace ferrin::providertest {
namespace {

template <typename Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, decltype(&CFRelease)>;

template <typename Reference>
Owned<Reference> owned(Reference reference) {
  return Owned<Reference>(reference, [](CFTypeRef object) {
    if (object != nullptr) CFRelease(object);
  });
}

std::string text(CFTypeRef value) {
  std::array<char, 1024> bytes{};
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) return "";
  return CFStringGetCString(static_cast<CFStringRef>(value), bytes.data(), bytes.size(),
                            kCFStringEncodingUTF8)
             ? bytes.data()
             : "";
}

int number(CFTypeRef value) {
  int result = 0;
  if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberIntType, &result);
  }
  return result;
}

std::string schemeOf(CFDictionaryRef proxy) {
  const CFTypeRef type = CFDictionaryGetValue(proxy, kCFProxyTypeKey);
  if (type == nullptr) return "";
  if (CFEqual(type, kCFProxyTypeHTTP) || CFEqual(type, kCFProxyTypeHTTPS)) return "http://";
  return CFEqual(type, kCFProxyTypeSOCKS) ? "socks5h://" : "";
}

}  // namespace

std::optional<std::string> systemProxy(const std::string& url) {
  const auto address =
      owned(CFURLCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(url.data()),
                                 static_cast<CFIndex>(url.size()), kCFStringEncodingUTF8, nullptr));
  const auto settings = owned(CFNetworkCopySystemProxySettings());
  if (!address || !settings) return std::nullopt;
  const auto proxies = owned(CFNetworkCopyProxiesForURL(address.get(), settings.get()));
  if (!proxies || CFArrayGetCount(proxies.get()) == 0) return std::nullopt;
  const auto* first = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(proxies.get(), 0));
  const std::string scheme = schemeOf(first);
  if (scheme.empty()) return "";
  return scheme + text(CFDictionaryGetValue(first, kCFProxyHostNameKey)) + ":" +
         std::to_string(number(CFDictionaryGetValue(first, kCFProxyPortNumberKey)));
}

}  // namespace ferrin::providertest
