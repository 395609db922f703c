#include "proxy/http/DecodedBody.h"

#include "proxy/http/Framing.h"

namespace ferrin::proxy {

void DecodedBody::appendFraming(SecretString& head, bool whole) {
  if (whole) length = decoder.declaredSize();
  if (length) {
    head.append("Content-Length: ").append(std::to_string(*length)).append("\r\n\r\n");
  } else {
    head.append("Transfer-Encoding: chunked\r\n\r\n");
  }
}

DecodedBody::Next DecodedBody::next(std::span<char> block, bool whole) {
  const ZstdDecoder::Result result = decoder.decode(block);
  if (!result.valid) return Next::broken;
  if (result.bytes > 0) return take({block.data(), result.bytes});
  if (!whole) return Next::needsInput;
  return decoder.complete() && (!length || decoded == *length) ? finish() : Next::broken;
}

DecodedBody::Next DecodedBody::take(std::string_view bytes) {
  const bool first = decoded == 0;
  decoded += bytes.size();
  if (!length) {
    chunkHead = chunkHeadOf(bytes.size());
    output = {chunkHead, bytes, "\r\n"};
    return Next::bytes;
  }
  if (decoded > *length) return Next::broken;
  held = {held[1], bytes.back()};
  output = {std::string_view(held.data(), first ? 0 : 1), bytes.substr(0, bytes.size() - 1), ""};
  return Next::bytes;
}

DecodedBody::Next DecodedBody::finish() {
  output = {length ? std::string_view(&held[1], 1) : lastChunk, "", ""};
  return Next::end;
}

}  // namespace ferrin::proxy
