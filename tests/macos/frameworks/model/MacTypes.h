#pragma once
// Included by the declarations of frameworks beside this folder, where their model is built on Linux.

#include <cstdint>

using Boolean = unsigned char;
using OSStatus = std::int32_t;
using UInt8 = std::uint8_t;
using UInt32 = std::uint32_t;
