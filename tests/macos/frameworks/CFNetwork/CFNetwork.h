#pragma once
// The few declarations of the CFNetwork framework that the project uses; see CoreFoundation.h beside it.

#include <CoreFoundation/CoreFoundation.h>

extern "C" {
extern const CFStringRef kCFProxyTypeKey;
extern const CFStringRef kCFProxyHostNameKey;
extern const CFStringRef kCFProxyPortNumberKey;
extern const CFStringRef kCFProxyTypeAutoConfigurationJavaScript;
extern const CFStringRef kCFProxyTypeAutoConfigurationURL;
extern const CFStringRef kCFProxyTypeHTTP;
extern const CFStringRef kCFProxyTypeHTTPS;
extern const CFStringRef kCFProxyTypeSOCKS;

CFDictionaryRef CFNetworkCopySystemProxySettings();
CFArrayRef CFNetworkCopyProxiesForURL(CFURLRef url, CFDictionaryRef settings);
}
