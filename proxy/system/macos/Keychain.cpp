#include "proxy/system/macos/Keychain.h"

#include <Security/Security.h>

#include "proxy/system/macos/CoreFoundation.h"

namespace ferrin::proxy {
namespace {

enum class Verdict { none, trusted, denied };

bool concernsTls(CFDictionaryRef setting) {
  const void* policy = CFDictionaryGetValue(setting, kSecTrustSettingsPolicy);
  if (policy == nullptr) return true;
  const auto properties =
      owned(SecPolicyCopyProperties(static_cast<SecPolicyRef>(const_cast<void*>(policy))));
  const void* kind = properties ? CFDictionaryGetValue(properties.get(), kSecPolicyOid) : nullptr;
  return kind != nullptr && CFEqual(kind, kSecPolicyAppleSSL);
}

/// To one application, or to one host's name.
bool isLimited(CFDictionaryRef setting) {
  return CFDictionaryGetValue(setting, kSecTrustSettingsApplication) != nullptr ||
         CFDictionaryGetValue(setting, kSecTrustSettingsPolicyString) != nullptr;
}

/// What is trusted for less than every TLS server is not trusted here; what is denied is denied.
Verdict verdictOf(CFDictionaryRef setting) {
  if (!concernsTls(setting)) return Verdict::none;
  switch (
      numberOf(CFDictionaryGetValue(setting, kSecTrustSettingsResult), kSecTrustSettingsResultTrustRoot)) {
    case kSecTrustSettingsResultTrustRoot:
    case kSecTrustSettingsResultTrustAsRoot:
      return isLimited(setting) ? Verdict::none : Verdict::trusted;
    case kSecTrustSettingsResultDeny:
      return Verdict::denied;
    default:
      return Verdict::none;
  }
}

/// No settings at all mean trust (SecTrustSettingsCopyTrustSettings in Security/SecTrustSettings.h).
Verdict verdictIn(SecTrustSettingsDomain domain, SecCertificateRef certificate) {
  CFArrayRef list = nullptr;
  if (SecTrustSettingsCopyTrustSettings(certificate, domain, &list) != errSecSuccess || list == nullptr)
    return Verdict::none;
  const auto settings = owned(list);
  const CFIndex count = CFArrayGetCount(list);
  if (count == 0) return Verdict::trusted;
  for (CFIndex at = 0; at < count; ++at) {
    const Verdict verdict = verdictOf(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, at)));
    if (verdict != Verdict::none) return verdict;
  }
  return Verdict::none;
}

/// The user's settings come before an administrator's, and those before the system's.
bool isTrusted(SecCertificateRef certificate, bool isAnchor) {
  for (const auto domain : {kSecTrustSettingsDomainUser, kSecTrustSettingsDomainAdmin}) {
    const Verdict verdict = verdictIn(domain, certificate);
    if (verdict != Verdict::none) return verdict == Verdict::trusted;
  }
  return isAnchor;
}

bool add(X509_STORE* store, SecCertificateRef certificate) {
  const auto data = owned(SecCertificateCopyData(certificate));
  if (!data) return false;
  const unsigned char* bytes = CFDataGetBytePtr(data.get());
  X509* parsed = d2i_X509(nullptr, &bytes, CFDataGetLength(data.get()));
  const bool added = parsed != nullptr && X509_STORE_add_cert(store, parsed) == 1;
  X509_free(parsed);
  return added;
}

/// Whether any of `list`, which it releases, is trusted.
bool addTrusted(X509_STORE* store, CFArrayRef list, bool areAnchors) {
  const auto certificates = owned(list);
  bool any = false;
  for (CFIndex at = 0; list != nullptr && at < CFArrayGetCount(list); ++at) {
    auto* certificate = static_cast<SecCertificateRef>(const_cast<void*>(CFArrayGetValueAtIndex(list, at)));
    if (isTrusted(certificate, areAnchors)) any = add(store, certificate) || any;
  }
  return any;
}

}  // namespace

bool addKeychainRoots(X509_STORE* store) {
  CFArrayRef list = nullptr;
  bool any = SecTrustCopyAnchorCertificates(&list) == errSecSuccess && addTrusted(store, list, true);
  for (const auto domain : {kSecTrustSettingsDomainUser, kSecTrustSettingsDomainAdmin}) {
    list = nullptr;
    if (SecTrustSettingsCopyCertificates(domain, &list) == errSecSuccess)
      any = addTrusted(store, list, false) || any;
  }
  return any;
}

}  // namespace ferrin::proxy
