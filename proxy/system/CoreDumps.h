#pragma once

namespace ferrin::proxy {

/// While it lives, a crash of this process leaves no dump of its memory, and other processes of the user
/// can't read it.
class NoCoreDumps {
 public:
  NoCoreDumps();
  NoCoreDumps(const NoCoreDumps&) = delete;
  NoCoreDumps& operator=(const NoCoreDumps&) = delete;
  ~NoCoreDumps();
};

}  // namespace ferrin::proxy
