#pragma once
// The few declarations of the Security framework that the project uses; see CoreFoundation.h beside it.
// developer.apple.com/documentation/security, SecTrust, SecTrustSettings, SecPolicy and SecCertificate.

#include <CoreFoundation/CoreFoundation.h>

using SecCertificateRef = struct __SecCertificate*;
using SecPolicyRef = struct __SecPolicy*;

inline constexpr OSStatus errSecSuccess = 0;
enum SecTrustSettingsDomain : UInt32 { kSecTrustSettingsDomainUser, kSecTrustSettingsDomainAdmin };
enum SecTrustSettingsResult : UInt32 {
  kSecTrustSettingsResultTrustRoot = 1,
  kSecTrustSettingsResultTrustAsRoot = 2,
  kSecTrustSettingsResultDeny = 3,
};

extern "C" {
extern const CFStringRef kSecTrustSettingsPolicy;
extern const CFStringRef kSecTrustSettingsPolicyString;
extern const CFStringRef kSecTrustSettingsApplication;
extern const CFStringRef kSecTrustSettingsResult;
extern const CFStringRef kSecPolicyOid;
extern const CFStringRef kSecPolicyAppleSSL;

OSStatus SecTrustCopyAnchorCertificates(CFArrayRef* anchors);
OSStatus SecTrustSettingsCopyCertificates(SecTrustSettingsDomain domain, CFArrayRef* certificates);
OSStatus SecTrustSettingsCopyTrustSettings(SecCertificateRef certificate, SecTrustSettingsDomain domain,
                                           CFArrayRef* settings);
CFDataRef SecCertificateCopyData(SecCertificateRef certificate);
CFDictionaryRef SecPolicyCopyProperties(SecPolicyRef policy);
}
