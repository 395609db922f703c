// A model of what the relay uses of Apple's frameworks: each object is a piece of a property list. The
// system's settings are one, in the file that FERRIN_SETTINGS names: "proxies" lists those for every URL,
// "anchors", "user" and "admin" hold pairs of a certificate (DER) and its trust settings. What is created is
// freed by CFRelease alone.

#include <CFNetwork/CFNetwork.h>
#include <Security/Security.h>
#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

plist_t seen(CFTypeRef reference) { return const_cast<plist_t>(reference); }

/// For the caller to release.
template <typename Reference>
Reference created(plist_t object) {
  return static_cast<Reference>(object);
}

CFStringRef constant(const char* text) { return created<CFStringRef>(plist_new_string(text)); }

std::string textIn(CFTypeRef text) { return plist_get_string_ptr(seen(text), nullptr); }

/// A new copy of a part of the settings as they are now; an empty list where there is none.
plist_t setting(const char* name) {
  const char* file = std::getenv("FERRIN_SETTINGS");
  std::ifstream stream(file == nullptr ? "" : file);
  const std::string xml(std::istreambuf_iterator<char>(stream), {});
  plist_t all = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &all);
  const plist_t part = all == nullptr ? nullptr : plist_dict_get_item(all, name);
  const plist_t copy = part == nullptr ? plist_new_array() : plist_copy(part);
  plist_free(all);
  return copy;
}

const char* nameOf(SecTrustSettingsDomain domain) {
  return domain == kSecTrustSettingsDomainUser ? "user" : "admin";
}

OSStatus copyCertificates(const char* name, CFArrayRef* into) {
  const plist_t pairs = setting(name), certificates = plist_new_array();
  for (std::uint32_t at = 0; at < plist_array_get_size(pairs); ++at)
    plist_array_append_item(certificates,
                            plist_copy(plist_array_get_item(plist_array_get_item(pairs, at), 0)));
  plist_free(pairs);
  *into = created<CFArrayRef>(certificates);
  return errSecSuccess;
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

void CFRelease(CFTypeRef object) { plist_free(seen(object)); }
CFTypeID CFGetTypeID(CFTypeRef object) { return plist_get_node_type(seen(object)); }
CFTypeID CFStringGetTypeID() { return PLIST_STRING; }
CFTypeID CFNumberGetTypeID() { return PLIST_UINT; }
Boolean CFEqual(CFTypeRef one, CFTypeRef other) { return textIn(one) == textIn(other); }
CFIndex CFArrayGetCount(CFArrayRef array) { return plist_array_get_size(seen(array)); }
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  return plist_array_get_item(seen(array), static_cast<std::uint32_t>(index));
}
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  return plist_dict_get_item(seen(dictionary), textIn(key).c_str());
}
const UInt8* CFDataGetBytePtr(CFDataRef data) {
  std::uint64_t size = 0;
  return reinterpret_cast<const UInt8*>(plist_get_data_ptr(seen(data), &size));
}
CFIndex CFDataGetLength(CFDataRef data) {
  std::uint64_t size = 0;
  plist_get_data_ptr(seen(data), &size);
  return static_cast<CFIndex>(size);
}
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType, void* value) {
  std::uint64_t content = 0;
  plist_get_uint_val(seen(number), &content);
  *static_cast<int*>(value) = static_cast<int>(content);
  return 1;
}
Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex size, CFStringEncoding) {
  std::strncpy(buffer, textIn(text).c_str(), static_cast<std::size_t>(size));
  return textIn(text).size() < static_cast<std::size_t>(size);
}
CFURLRef CFURLCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex length, CFStringEncoding,
                              CFURLRef) {
  return created<CFURLRef>(plist_new_string(std::string(bytes, bytes + length).c_str()));
}

CFDictionaryRef CFNetworkCopySystemProxySettings() { return created<CFDictionaryRef>(plist_new_dict()); }
/// `*.direct` is always among the settings' exceptions.
CFArrayRef CFNetworkCopyProxiesForURL(CFURLRef url, CFDictionaryRef) {
  const bool isException = textIn(url).find(".direct") != std::string::npos;
  return created<CFArrayRef>(isException ? plist_new_array() : setting("proxies"));
}

OSStatus SecTrustCopyAnchorCertificates(CFArrayRef* anchors) { return copyCertificates("anchors", anchors); }
OSStatus SecTrustSettingsCopyCertificates(SecTrustSettingsDomain domain, CFArrayRef* certificates) {
  return copyCertificates(nameOf(domain), certificates);
}
OSStatus SecTrustSettingsCopyTrustSettings(SecCertificateRef certificate, SecTrustSettingsDomain domain,
                                           CFArrayRef* settings) {
  const plist_t pairs = setting(nameOf(domain));
  for (std::uint32_t at = 0; at < plist_array_get_size(pairs); ++at) {
    const plist_t pair = plist_array_get_item(pairs, at);
    if (plist_compare_node_value(plist_array_get_item(pair, 0), seen(certificate)) != 0)
      *settings = created<CFArrayRef>(plist_copy(plist_array_get_item(pair, 1)));
  }
  plist_free(pairs);
  return *settings == nullptr ? -25300 : errSecSuccess;  // errSecItemNotFound
}
CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  return created<CFDataRef>(plist_copy(seen(certificate)));
}
CFDictionaryRef SecPolicyCopyProperties(SecPolicyRef policy) {
  return created<CFDictionaryRef>(plist_copy(seen(policy)));
}
