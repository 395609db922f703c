#pragma once

#include <initializer_list>
#include <string_view>

#include "proxy/loop/Stream.h"
#include "proxy/loop/Task.h"
#include "proxy/loop/Timers.h"
#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

/// What one stream still has to send. Bytes are kept, and wiped afterwards, only while the peer does not take
/// them; the memory goes with them.
class SendBuffer {
 public:
  /// Writes `pieces` after what is kept already, and keeps what is not taken now. False when the connection
  /// is broken; the reason is stream.problem(). Throws std::bad_alloc; some of the bytes may have gone then.
  bool send(Stream& stream, std::initializer_list<std::string_view> pieces);
  bool empty() const { return kept.empty(); }
  /// Waits until everything kept has been taken, restarting `silence` with every byte. False when the
  /// connection is broken or the wait was interrupted; what has not been taken is still kept then, and send()
  /// goes on after it.
  Task<bool> flush(Stream& stream, Timer& silence);
  /// Whether any byte may have been taken since this object was made.
  bool mayHaveBeenTaken() const { return maybeTaken; }

 private:
  SecretString kept;
  std::size_t gone = 0;  ///< bytes at the front of `kept` that have been taken
  bool maybeTaken = false;
};

}  // namespace ferrin::proxy
