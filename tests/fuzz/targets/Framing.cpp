// A chunked body, or an answer with its body: it ends at the same byte however it is cut, and even a careless
// reader of what is accepted sees the same content and the same end.

#include <cstdlib>
#include <string>

#include "proxy/http/Framing.h"
#include "tests/fuzz/targets/Claim.h"
#include "tests/fuzz/targets/Reader.h"

using namespace ferrin::proxy;
using ferrin::fuzz::claim;

namespace {

struct Outcome {
  std::size_t belonging = 0;
  bool complete = false;
  bool valid = true;
  std::string payload;
  std::string sent;  ///< what passes on
  bool operator==(const Outcome&) const = default;
};

Outcome cut(BodyFraming framing, std::string_view bytes, std::size_t block) {
  Outcome outcome;
  while (outcome.belonging < bytes.size() && outcome.valid && !framing.complete()) {
    const auto step = framing.follow(bytes.substr(outcome.belonging, block), &outcome.payload);
    claim(step.belonging > 0 || !step.valid, "it goes on");
    claim(step.passing <= step.belonging, "nothing passes that does not belong");
    outcome.sent.append(bytes.substr(outcome.belonging, step.passing))
        .append(step.endsTrailers ? "\r\n" : "");
    outcome.belonging += step.belonging;
    outcome.valid = step.valid;
  }
  outcome.complete = framing.complete();
  claim(framing.contentBytes() == outcome.payload.size(), "the content is counted");
  return outcome;
}

Outcome followed(const BodyFraming& framing, std::string_view bytes) {
  const Outcome whole = cut(framing, bytes, bytes.size());
  for (const std::size_t block : {std::size_t{1}, std::size_t{2}, std::size_t{7}})
    claim(cut(framing, bytes, block) == whole, "it ends at the same byte however it is cut");
  return whole;
}

/// The limits of chunks' heads and of trailers, in lines as they were accepted.
void claimLimits(std::string_view bytes) {
  std::size_t trailers = 0;
  bool inTrailers = false;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = bytes.find('\n', at) + 1;
    if (inTrailers) trailers += end - at;
    claim(inTrailers || end - at <= 4096, "a chunk's head is short");
    const std::size_t size = inTrailers ? 0 : std::strtoull(bytes.data() + at, nullptr, 16);
    inTrailers = inTrailers || size == 0;
    at = end + (size == 0 ? 0 : size + 2);
  }
  claim(trailers <= 16'384, "trailers are short");
}

void checkChunks(std::string_view bytes) {
  RequestHead head;
  head.chunked = true;
  const Outcome whole = followed(BodyFraming::ofRequest(head), bytes);
  if (!whole.complete) return;
  ferrin::fuzz::Message read;
  readChunks(bytes, read);
  claim(read.isWhole && read.content == whole.payload && read.size == whole.belonging,
        "a careless reader sees the same");
  ferrin::fuzz::Message again;
  readChunks(whole.sent, again);
  claim(again.content == whole.payload && again.size == whole.sent.size(), "what passes says the same");
  claim(followed(BodyFraming::ofRequest(head), whole.sent).sent == whole.sent, "and has no trailers");
  claimLimits(bytes.substr(0, whole.belonging));
}

void checkAnswer(std::string_view bytes, std::string_view method) {
  ResponseHead head;
  const std::size_t size = parseResponseHead(bytes, head);
  if (size == 0 || size == malformedHead || head.status < 200) return;
  const BodyFraming framing = BodyFraming::ofResponse(head, method);
  const Outcome whole = followed(framing, bytes.substr(size));
  const ferrin::fuzz::Message read = ferrin::fuzz::readAnswer(bytes, method == "HEAD", true);
  const bool untilClose = framing.kind() == BodyFraming::Kind::untilClose;
  claim(!whole.valid || read.content == whole.payload, "a careless reader sees the same content");
  claim(!whole.valid || read.isWhole == (whole.complete || untilClose), "and the same end");
  claim(!whole.complete || read.size == size + whole.belonging, "at the same byte");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = ferrin::fuzz::unrolled(ferrin::fuzz::textOf(data, size));
  checkChunks(bytes);
  for (const std::string_view method : {"GET", "HEAD"}) checkAnswer(bytes, method);
  return 0;
}
