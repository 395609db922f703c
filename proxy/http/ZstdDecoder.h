#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

struct ZSTD_DCtx_s;

namespace ferrin::proxy {

/// Decodes content with the coding zstd (RFC 8878) as it arrives. Takes at most 8 MiB for a frame's window,
/// as that RFC recommends for decoders, and a few bytes more than the input that is waiting.
class ZstdDecoder {
 public:
  /// Throws std::bad_alloc.
  ZstdDecoder();

  /// Where encoded bytes are to be appended.
  std::string& input() { return encoded; }

  /// The decoded size of the input, if it is whole and its frames declare theirs; 0 counts as none. Only
  /// before decode().
  std::optional<std::uint64_t> declaredSize() const;

  struct Result {
    std::size_t bytes;  ///< decoded, at the front of the block; 0 when more input is needed
    bool valid;         ///< false: this is not zstd, or its window is too large
  };
  Result decode(std::span<char> block);

  /// Whether the input so far is a sequence of complete frames.
  bool complete() const { return betweenFrames && consumed == encoded.size(); }

 private:
  struct Free {
    void operator()(ZSTD_DCtx_s* context) const;
  };

  std::unique_ptr<ZSTD_DCtx_s, Free> context;
  std::string encoded;
  std::size_t consumed = 0;  ///< bytes of `encoded`
  bool betweenFrames = true;
  bool holdsOutput = false;  ///< the last block was filled, so more may follow without more input
};

}  // namespace ferrin::proxy
