#pragma once

#include <cstdint>

/// Puts the name of a process there; returns its length, 0 when there is no such process.
int proc_name(int process, void* into, std::uint32_t size);
