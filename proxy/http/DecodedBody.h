#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "proxy/http/ZstdDecoder.h"
#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

/// A request's body that is decoded on its way to the upstream, and framed anew: with a length where its
/// frames declare one, else in chunks. Its end goes out only once the whole of it has proved to be valid: the
/// last chunk, or the last byte of a body with a length. So the upstream never takes a broken one for a whole
/// one.
class DecodedBody {
 public:
  /// Encoded content is to be appended here, without chunk framing.
  std::string& input() { return decoder.input(); }

  /// Completes the request's head: with a length if the body has arrived `whole` and declares one, as further
  /// frames could follow otherwise. Once, before next().
  void appendFraming(SecretString& head, bool whole);

  enum class Next {
    bytes,       ///< pieces() is to be sent, and next() to be called again
    needsInput,  ///< no more can be decoded yet
    end,         ///< pieces() is the last to be sent
    broken,      ///< the content is not what its coding or its declared size says
  };
  /// Decodes some more, into `block`.
  Next next(std::span<char> block, bool whole);
  /// Valid until the block is used again, and until the following next().
  const std::array<std::string_view, 3>& pieces() const { return output; }

 private:
  Next take(std::string_view bytes);
  Next finish();

  ZstdDecoder decoder;
  std::optional<std::uint64_t> length;
  std::uint64_t decoded = 0;
  std::string chunkHead;
  std::array<char, 2>
      held{};  ///< of a body with a length: the byte that goes out now, and the one that waits
  std::array<std::string_view, 3> output;
};

}  // namespace ferrin::proxy
