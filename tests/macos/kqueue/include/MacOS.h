#pragma once
// Included ahead of sources that are written for macOS: what its headers have under another name or in
// addition.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>

#define F_GETPATH 50  // answered by Paths.cpp
#define O_EVTONLY O_RDONLY
#define SO_NOSIGPIPE 0x1022  // refused by Linux, where each call that sends asks for it
#define st_mtimespec st_mtim
#define st_ctimespec st_ctim
#undef CLOCK_MONOTONIC  // there it runs on while the machine sleeps
#define CLOCK_MONOTONIC CLOCK_BOOTTIME
