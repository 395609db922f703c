// A chunked body: it ends at the same byte however it is cut, and even a careless reader of what is accepted
// sees the same content and the same end.

#include <algorithm>
#include <string>

#include "proxy/http/Framing.h"
#include "tests/fuzz/targets/Claim.h"

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

Outcome followed(std::string_view bytes, std::size_t block) {
  RequestHead head;
  head.chunked = true;
  BodyFraming framing = BodyFraming::ofRequest(head);
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

/// Takes a line up to its line feed, whatever is before that.
std::string_view takeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line.substr(0, line.find_last_not_of('\r') + 1);
}

/// What somebody reads who believes everything: sizes up to the first other character, lines by their line
/// feed.
Outcome carelesslyRead(std::string_view bytes) {
  Outcome outcome;
  std::string_view rest = bytes;
  for (;;) {
    const std::size_t size = std::stoull(std::string(takeLine(rest)), nullptr, 16);
    if (size == 0) break;
    outcome.payload.append(rest.substr(0, size));
    rest.remove_prefix(std::min(size, rest.size()));
    takeLine(rest);
  }
  while (!takeLine(rest).empty()) {}
  outcome.belonging = bytes.size() - rest.size();
  outcome.complete = true;
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = ferrin::fuzz::textOf(data, size);
  const Outcome whole = followed(bytes, bytes.size());
  for (const std::size_t block : {std::size_t{1}, std::size_t{2}, std::size_t{7}})
    claim(followed(bytes, block) == whole, "it ends at the same byte however it is cut");
  if (!whole.complete) return 0;
  const Outcome read = carelesslyRead(bytes);
  claim(read.payload == whole.payload && read.belonging == whole.belonging,
        "a careless reader sees the same");
  const Outcome again = carelesslyRead(whole.sent);
  claim(again.payload == whole.payload && again.belonging == whole.sent.size(), "what passes says the same");
  claim(followed(whole.sent, whole.sent.size()).sent == whole.sent, "and has no trailers");
  return 0;
}
