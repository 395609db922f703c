// A model of what the relay uses of Apple's frameworks, with the system's settings in files. FERRIN_PROXIES
// names one with a type, a host and a port, none of which means no proxy. FERRIN_KEYCHAIN names a folder with
// certificates (DER): anchors/NAME, user/NAME=SETTINGS, admin/NAME=SETTINGS. A setting is a result, with an x
// where it is for another purpose than TLS, an h where it is for one host; they are separated by commas. What
// is created is freed by CFRelease alone.

#include <CFNetwork/CFNetwork.h>
#include <Security/Security.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Object;
using Item = std::shared_ptr<const Object>;
using Array = std::vector<Item>;
using Dictionary = std::map<const void*, Item>;
struct Object {
  std::variant<std::string, int, Array, Dictionary> value;
};

const Object& seen(const void* reference) { return *static_cast<const Object*>(reference); }
const std::string& textIn(const void* reference) { return std::get<std::string>(seen(reference).value); }

template <typename Value>
Item item(Value value) {
  return std::make_shared<const Object>(Object{std::move(value)});
}
/// For the caller to release.
template <typename Reference>
Reference created(Object object) {
  return reinterpret_cast<Reference>(new Object(std::move(object)));
}
CFStringRef constant(const char* text) {
  static std::map<std::string, Object> made;
  return reinterpret_cast<CFStringRef>(&made.try_emplace(text, Object{std::string(text)}).first->second);
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The certificates of a folder of the keychain: content to settings.
std::map<std::string, std::string> certificatesIn(const char* folder) {
  std::map<std::string, std::string> found;
  const char* keychain = std::getenv("FERRIN_KEYCHAIN");
  if (keychain == nullptr || !fs::exists(fs::path(keychain) / folder)) return found;
  for (const auto& entry : fs::directory_iterator(fs::path(keychain) / folder)) {
    const std::string name = entry.path().filename();
    found[contentOf(entry.path())] = name.substr(std::min(name.find('='), name.size() - 1) + 1);
  }
  return found;
}

const char* folderOf(SecTrustSettingsDomain domain) {
  return domain == kSecTrustSettingsDomainUser ? "user" : "admin";
}

OSStatus copyCertificates(const char* folder, CFArrayRef* into) {
  Array found;
  for (const auto& [content, settings] : certificatesIn(folder)) found.push_back(item(content));
  *into = created<CFArrayRef>(Object{std::move(found)});
  return errSecSuccess;
}

Item settingOf(const std::string& text) {
  Dictionary setting{{kSecTrustSettingsResult, item(std::atoi(text.c_str()))}};
  if (text.ends_with('x'))
    setting[kSecTrustSettingsPolicy] = item(Dictionary{{kSecPolicyOid, item(std::string("mail"))}});
  if (text.ends_with('h')) {
    setting[kSecTrustSettingsPolicyString] = item(std::string("host.example"));
    setting[kSecTrustSettingsPolicy] = item(Dictionary{{kSecPolicyOid, item(textIn(kSecPolicyAppleSSL))}});
  }
  return item(std::move(setting));
}

}  // namespace

const CFStringRef kCFProxyTypeKey = constant("type"), kCFProxyHostNameKey = constant("host"),
                  kCFProxyPortNumberKey = constant("port"), kCFProxyTypeHTTP = constant("http"),
                  kCFProxyTypeHTTPS = constant("https"), kCFProxyTypeSOCKS = constant("socks"),
                  kCFProxyTypeAutoConfigurationURL = constant("automatic"),
                  kCFProxyTypeAutoConfigurationJavaScript = constant("script"),
                  kSecTrustSettingsPolicy = constant("policy"),
                  kSecTrustSettingsPolicyString = constant("name"),
                  kSecTrustSettingsApplication = constant("application"),
                  kSecTrustSettingsResult = constant("result"), kSecPolicyOid = constant("purpose"),
                  kSecPolicyAppleSSL = constant("TLS");

void CFRelease(CFTypeRef object) { delete &seen(object); }
CFTypeID CFGetTypeID(CFTypeRef object) { return seen(object).value.index(); }
CFTypeID CFStringGetTypeID() { return 0; }
CFTypeID CFNumberGetTypeID() { return 1; }
Boolean CFEqual(CFTypeRef one, CFTypeRef other) { return textIn(one) == textIn(other); }
CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(std::get<Array>(seen(array).value).size());
}
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  return std::get<Array>(seen(array).value).at(static_cast<std::size_t>(index)).get();
}
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto& entries = std::get<Dictionary>(seen(dictionary).value);
  const auto found = entries.find(key);
  return found == entries.end() ? nullptr : found->second.get();
}
const UInt8* CFDataGetBytePtr(CFDataRef data) { return reinterpret_cast<const UInt8*>(textIn(data).data()); }
CFIndex CFDataGetLength(CFDataRef data) { return static_cast<CFIndex>(textIn(data).size()); }
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType, void* value) {
  std::memcpy(value, &std::get<int>(seen(number).value), sizeof(int));
  return 1;
}
Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex size, CFStringEncoding) {
  std::strncpy(buffer, textIn(text).c_str(), static_cast<std::size_t>(size));
  return textIn(text).size() < static_cast<std::size_t>(size);
}
CFURLRef CFURLCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex length, CFStringEncoding,
                              CFURLRef) {
  return created<CFURLRef>(Object{std::string(bytes, bytes + length)});
}

CFDictionaryRef CFNetworkCopySystemProxySettings() { return created<CFDictionaryRef>(Object{Dictionary()}); }
/// `*.direct` is always among the settings' exceptions.
CFArrayRef CFNetworkCopyProxiesForURL(CFURLRef url, CFDictionaryRef) {
  const char* file = std::getenv("FERRIN_PROXIES");
  std::istringstream settings(file == nullptr ? "" : contentOf(file));
  std::string type, host;
  int port = 0;
  settings >> type >> host >> port;
  if (textIn(url).find(".direct") != std::string::npos) type = "none";
  return created<CFArrayRef>(Object{Array{item(Dictionary{{kCFProxyTypeKey, item(type)},
                                                          {kCFProxyHostNameKey, item(host)},
                                                          {kCFProxyPortNumberKey, item(port)}})}});
}

OSStatus SecTrustCopyAnchorCertificates(CFArrayRef* anchors) { return copyCertificates("anchors", anchors); }
OSStatus SecTrustSettingsCopyCertificates(SecTrustSettingsDomain domain, CFArrayRef* certificates) {
  return copyCertificates(folderOf(domain), certificates);
}
OSStatus SecTrustSettingsCopyTrustSettings(SecCertificateRef certificate, SecTrustSettingsDomain domain,
                                           CFArrayRef* settings) {
  const auto known = certificatesIn(folderOf(domain));
  const auto found = known.find(textIn(certificate));
  if (found == known.end()) return -25300;  // errSecItemNotFound
  Array list;
  std::istringstream parts(found->second);
  for (std::string part; std::getline(parts, part, ',');) list.push_back(settingOf(part));
  *settings = created<CFArrayRef>(Object{std::move(list)});
  return errSecSuccess;
}
CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  return created<CFDataRef>(seen(certificate));
}
CFDictionaryRef SecPolicyCopyProperties(SecPolicyRef policy) {
  return created<CFDictionaryRef>(seen(policy));
}
