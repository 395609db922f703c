#pragma once
// Of sysctl(3), section 3 of Apple's manual pages. Sockets.cpp has it.

#include <stddef.h>

extern "C" int sysctlbyname(const char* name, void* into, size_t* size, void* from, size_t fromSize);
