#pragma once
// The few declarations of the Core Foundation framework that the project uses, for compiling without Apple's
// headers. Opaque types, functions and constants as its reference documents them; add what is missing here.

#include <MacTypes.h>

#include <cstdint>

using CFTypeRef = const void*;
using CFArrayRef = const struct __CFArray*;
using CFDataRef = const struct __CFData*;
using CFDictionaryRef = const struct __CFDictionary*;
using CFLocaleRef = const struct __CFLocale*;
using CFNumberRef = const struct __CFNumber*;
using CFStringRef = const struct __CFString*;
using CFURLRef = const struct __CFURL*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFIndex = long;
using CFTypeID = unsigned long;
using CFStringEncoding = UInt32;
using CFNumberType = CFIndex;
using CFLocaleIdentifier = CFStringRef;

inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
inline constexpr CFNumberType kCFNumberIntType = 9;

extern "C" {
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
Boolean CFEqual(CFTypeRef one, CFTypeRef other);

CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
const UInt8* CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
CFTypeID CFNumberGetTypeID();
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);
CFTypeID CFStringGetTypeID();
Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex size, CFStringEncoding encoding);
CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                              CFStringEncoding encoding, CFURLRef base);
CFLocaleRef CFLocaleCopyCurrent();
CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);
}
