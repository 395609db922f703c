#include "proxy/http/ZstdDecoder.h"

#include <zstd.h>

#include <new>
#include <string_view>

namespace ferrin::proxy {
namespace {

constexpr int maxWindowLog = 23;  // 8 MiB

/// The declared sizes of all frames together; 0 when one declares none.
unsigned long long sizeOfFrames(std::string_view frames) {
  unsigned long long total = 0;
  while (!frames.empty()) {
    const auto size = ZSTD_getFrameContentSize(frames.data(), frames.size());
    const std::size_t encoded = ZSTD_findFrameCompressedSize(frames.data(), frames.size());
    if (size == ZSTD_CONTENTSIZE_ERROR || size == ZSTD_CONTENTSIZE_UNKNOWN || ZSTD_isError(encoded) != 0)
      return 0;
    total += size;
    frames.remove_prefix(encoded);
  }
  return total;
}

}  // namespace

void ZstdDecoder::Free::operator()(ZSTD_DCtx_s* freed) const { ZSTD_freeDCtx(freed); }

ZstdDecoder::ZstdDecoder() : context(ZSTD_createDCtx()) {
  if (!context) throw std::bad_alloc();
  ZSTD_DCtx_setParameter(context.get(), ZSTD_d_windowLogMax, maxWindowLog);
}

std::optional<std::uint64_t> ZstdDecoder::declaredSize() const {
  const auto size = sizeOfFrames(encoded);
  return size == 0 ? std::nullopt : std::optional<std::uint64_t>(size);
}

ZstdDecoder::Result ZstdDecoder::decode(std::span<char> block) {
  ZSTD_outBuffer out{block.data(), block.size(), 0};
  ZSTD_inBuffer in{encoded.data(), encoded.size(), consumed};
  while (out.pos == 0 && (in.pos < in.size || holdsOutput)) {
    const std::size_t before = in.pos;
    const std::size_t left = ZSTD_decompressStream(context.get(), &out, &in);
    if (ZSTD_isError(left) != 0) return {0, false};
    betweenFrames = left == 0 || (betweenFrames && in.pos == before);
    if (in.pos == before && out.pos == 0) break;
  }
  holdsOutput = out.pos == out.size;
  consumed = in.pos;
  if (consumed == encoded.size()) {
    encoded.clear();
    consumed = 0;
  }
  return {out.pos, true};
}

}  // namespace ferrin::proxy
