#include "proxy/system/ProxySettings.h"

#include <CFNetwork/CFNetwork.h>

#include "proxy/system/macos/CoreFoundation.h"

namespace ferrin::proxy {
namespace {

std::string schemeOf(CFTypeRef type) {
  if (CFEqual(type, kCFProxyTypeHTTP) || CFEqual(type, kCFProxyTypeHTTPS)) return "http://";
  return CFEqual(type, kCFProxyTypeSOCKS) ? "socks5h://" : "";
}

bool isAutomatic(CFTypeRef type) {
  return CFEqual(type, kCFProxyTypeAutoConfigurationURL) ||
         CFEqual(type, kCFProxyTypeAutoConfigurationJavaScript);
}

ProxySettings settingsFor(CFDictionaryRef proxy) {
  const CFTypeRef type = CFDictionaryGetValue(proxy, kCFProxyTypeKey);
  if (type == nullptr) return {};
  if (isAutomatic(type)) return {"", "", "", "the system's automatic proxy configuration is not followed"};
  const std::string scheme = schemeOf(type);
  if (scheme.empty()) return {};
  std::string host = textOf(CFDictionaryGetValue(proxy, kCFProxyHostNameKey));
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  const int port = numberOf(CFDictionaryGetValue(proxy, kCFProxyPortNumberKey), 0);
  const std::string url = scheme + host + ":" + std::to_string(port);
  return {url, url, "", ""};
}

}  // namespace

/// CFNetwork applies the settings' exceptions.
ProxySettings proxySettings(const std::string& upstream) {
  const auto url =
      owned(CFURLCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(upstream.data()),
                                 static_cast<CFIndex>(upstream.size()), kCFStringEncodingUTF8, nullptr));
  const auto settings = owned(CFNetworkCopySystemProxySettings());
  if (!url || !settings) return {};
  const auto proxies = owned(CFNetworkCopyProxiesForURL(url.get(), settings.get()));
  if (!proxies || CFArrayGetCount(proxies.get()) == 0) return {};
  return settingsFor(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(proxies.get(), 0)));
}

}  // namespace ferrin::proxy
