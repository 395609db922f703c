// A message's head, a request's or an answer's: whatever is accepted goes out as a head that is accepted
// again, that says once how long the body is, and that carries nothing which must stop here.

#include <array>
#include <string>

#include "proxy/http/Guard.h"
#include "proxy/http/HeadRewriting.h"
#include "proxy/http/Targets.h"
#include "tests/fuzz/targets/Claim.h"

using namespace ferrin::proxy;
using ferrin::fuzz::claim;

namespace {

constexpr std::array<std::string_view, 6> stopping{"cookie",     "proxy-authorization", "te",
                                                   "keep-alive", "proxy-connection",    "x-api-key"};

std::string forUpstream(const RequestHead& head, std::string_view target) {
  SecretString out;
  appendUpstreamHead(out, head, {.host = "api.example:8443"}, target, "sk-fuzz");
  const std::string length = head.chunked
                                 ? "Transfer-Encoding: chunked"
                                 : "Content-Length: " + std::to_string(head.contentLength.value_or(0));
  return std::string(out) + (hasZstdBody(head) ? length + "\r\n\r\n" : "");
}

void claimFraming(const Head& again, const Head& head) {
  claim(again.chunked == head.chunked && again.contentLength == head.contentLength,
        "the framing is the same");
  claim(again.count(Field::contentLength) + again.count(Field::transferEncoding) <= 1, "one framing");
}

/// What is said of `bytes` is said of each part of them, as far as it can be told.
template <typename Parse>
void claimEnd(std::string_view bytes, std::size_t size, Parse parse) {
  for (std::size_t cut = 0; cut < bytes.size(); cut += 1 + cut / 4) {
    const std::size_t part = parse(bytes.substr(0, cut));
    if (size == 0) claim(part == 0, "incomplete from the first byte on");
    if (part != 0) claim(part == size, "more bytes change nothing");
    if (cut < size && size != malformedHead) {
      claim(part == 0, "no end before the end");
      claim(mayBeWholeHead(bytes, cut), "the end is seen wherever the bytes were cut");
    }
  }
}

void checkRequest(std::string_view bytes) {
  RequestHead head;
  const std::size_t size = parseRequestHead(bytes, head);
  claimEnd(bytes, size, [](std::string_view part) {
    RequestHead other;
    return parseRequestHead(part, other);
  });
  if (size == 0 || size == malformedHead) return;
  (void)refusal(head, {"127.0.0.1", 8787});
  const std::string target = "/base" + std::string(splitTarget(head.target).pathAndQuery);
  const std::string out = forUpstream(head, target);
  RequestHead again;
  claim(parseRequestHead(out, again) == out.size(), "what goes out is one head that is accepted");
  claim(again.method == head.method && again.target == target && again.version == 11,
        "the same request line");
  claimFraming(again, head);
  claim(again.count(Field::host) == 1 && again.value(Field::host) == "api.example:8443",
        "the upstream's Host");
  claim(again.count(Field::authorization) == 1 && again.value(Field::authorization) == "Bearer sk-fuzz",
        "our key");
  for (const HeadField& field : again.fields) {
    for (const std::string_view name : stopping) claim(!sameIgnoringCase(field.name, name), "it stops here");
  }
  claim(asksForWebSocket(again) == asksForWebSocket(head), "WebSockets stay");
  claim(asksForWebSocket(head) || again.count(Field::connection) + again.count(Field::upgrade) == 0,
        "no hop");
}

void checkAnswer(std::string_view bytes, int clientVersion) {
  ResponseHead head;
  const std::size_t size = parseResponseHead(bytes, head);
  claimEnd(bytes, size, [](std::string_view part) {
    ResponseHead other;
    return parseResponseHead(part, other);
  });
  if (size == 0 || size == malformedHead) return;
  std::string out;
  const auto kind = BodyFraming::ofResponse(head, "GET").kind();
  const BodyForm form = bodyForm(kind, clientVersion);
  if (head.status < 200) {
    appendInformationalHead(out, head);
  } else {
    appendClientHead(out, head, form, clientVersion, clientVersion == 10);
  }
  ResponseHead again;
  claim(parseResponseHead(out, again) == out.size(), "what goes out is one head that is accepted");
  claim(again.status == head.status && again.reason == head.reason, "the same status line");
  claim(again.count(Field::setCookie) == 0, "no cookie");
  if (form == BodyForm::asReceived) claimFraming(again, head);
  if (head.status < 200) return;
  const auto seen = BodyFraming::ofResponse(again, "GET").kind();
  claim(seen == (form == BodyForm::asReceived ? kind
                 : form == BodyForm::chunked  ? BodyFraming::Kind::chunked
                                              : BodyFraming::Kind::untilClose),
        "the client sees the body end as we do");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string unrolled = ferrin::fuzz::unrolled(ferrin::fuzz::textOf(data, size));
  const std::string_view bytes = unrolled;
  if (!bytes.starts_with("HTTP/")) checkRequest(bytes);
  for (const int version : {10, 11}) checkAnswer(bytes, version);
  return 0;
}
