#pragma once
// What the relay uses of kqueue(2):
// developer.apple.com/library/archive/documentation/System/Conceptual/ManPages_iPhoneOS /man2/kqueue.2.html.
// Kqueue.cpp has it.

#include <stdint.h>
#include <time.h>

struct kevent {
  uintptr_t ident;
  int16_t filter;
  uint16_t flags;
  uint32_t fflags;
  intptr_t data;
  void* udata;
};

#define EV_SET(event, a, b, c, d, e, f) (*(event) = {(a), (b), (c), (d), (e), (f)})

enum { EVFILT_READ = -1, EVFILT_WRITE = -2, EVFILT_VNODE = -4, EVFILT_USER = -10 };
enum { EV_ADD = 0x0001, EV_ONESHOT = 0x0010, EV_CLEAR = 0x0020, EV_EOF = 0x8000 };
enum { NOTE_TRIGGER = 0x01000000 };
enum { NOTE_DELETE = 0x01, NOTE_WRITE = 0x02, NOTE_EXTEND = 0x04, NOTE_ATTRIB = 0x08, NOTE_RENAME = 0x20 };

extern "C" int kqueue();
/// Changes can be made or events taken, one in a call. Triggering is safe in a signal handler.
extern "C" int kevent(int queue, const struct kevent* changes, int changeCount, struct kevent* events,
                      int eventCount, const struct timespec* timeout);
