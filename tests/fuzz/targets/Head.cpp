// A message's head, a request's or an answer's: whatever is accepted goes out as a head that is accepted
// again, that says once how long the body is, and that carries nothing which must stop here.

#include <algorithm>
#include <array>
#include <string>

#include "proxy/Guard.h"
#include "proxy/HeadRewriting.h"
#include "tests/fuzz/targets/Claim.h"

using namespace ferrin::proxy;
using ferrin::fuzz::claim;
using Field = boost::beast::http::field;

namespace {

constexpr std::array stopping{Field::cookie, Field::proxy_authorization, Field::te, Field::keep_alive,
                              Field::proxy_connection};
constexpr std::array ours{Field::host,    Field::authorization,     Field::connection,
                          Field::upgrade, Field::transfer_encoding, Field::content_length};

std::string forUpstream(const RequestHead& head, std::string_view target) {
  static const UpstreamURL upstream = parseUpstreamURL("https://api.example:8443/base");
  std::string out;
  appendUpstreamHead(out, head, upstream, target, "sk-fuzz");
  return out;
}

/// Whether the fields that are in both heads are in the same order in both.
bool inOrder(const Head& sent, const Head& received) {
  auto at = received.fields.begin();
  for (const HeadField& field : sent.fields) {
    if (std::count(ours.begin(), ours.end(), field.id) != 0) continue;
    at = std::find_if(at, received.fields.end(), [&](const HeadField& other) {
      return other.name == field.name && other.value == field.value;
    });
    if (at++ == received.fields.end()) return false;
  }
  return true;
}

void claimFraming(const Head& again, const Head& head) {
  claim(again.chunked == head.chunked && again.contentLength == head.contentLength,
        "the framing is the same");
  claim(again.count(Field::content_length) + again.count(Field::transfer_encoding) <= 1, "one framing");
  claim(inOrder(again, head), "fields pass unchanged and in order");
}

void checkRequest(std::string_view bytes) {
  RequestHead head;
  if (!parseRequestHead(bytes, head)) return;
  (void)refusal(head, 8787);
  const std::string target = "/base" + std::string(splitTarget(head.target).pathAndQuery);
  const std::string out = forUpstream(head, target);
  claim(endOfHead(out, 0) == out.size(), "what goes out is one head");
  RequestHead again;
  claim(parseRequestHead(out, again), "what goes out is accepted");
  claim(again.method == head.method && again.target == target && again.version == 11,
        "the same request line");
  claimFraming(again, head);
  claim(again.count(Field::host) == 1 && again.value(Field::host) == "api.example:8443",
        "the upstream's Host");
  claim(again.count(Field::authorization) == 1 && again.value(Field::authorization) == "Bearer sk-fuzz",
        "our key");
  for (const Field field : stopping) claim(again.count(field) == 0, "it stops here");
  claim(asksForWebSocket(again) == asksForWebSocket(head), "WebSockets stay");
  claim(asksForWebSocket(head) || again.count(Field::connection) + again.count(Field::upgrade) == 0,
        "no hop");
  claim(forUpstream(again, target) == out, "rewriting twice changes nothing");
}

void checkAnswer(std::string_view bytes, int clientVersion) {
  AnswerHead head;
  if (!parseAnswerHead(bytes, head)) return;
  std::string out;
  const auto kind = BodyFraming::ofAnswer(head, "GET").kind();
  const BodyForm form = bodyForm(kind, clientVersion);
  if (head.status < 200) {
    appendInformationalHead(out, head);
  } else {
    appendClientHead(out, head, form, clientVersion == 10);
  }
  claim(endOfHead(out, 0) == out.size(), "what goes out is one head");
  AnswerHead again;
  claim(parseAnswerHead(out, again), "what goes out is accepted");
  claim(again.status == head.status && again.reason == head.reason, "the same status line");
  claim(again.count(Field::set_cookie) == 0, "no cookie");
  if (form == BodyForm::asReceived) claimFraming(again, head);
  if (head.status < 200) return;
  const auto seen = BodyFraming::ofAnswer(again, "GET").kind();
  claim(seen == (form == BodyForm::asReceived ? kind
                 : form == BodyForm::chunked  ? BodyFraming::Kind::chunked
                                              : BodyFraming::Kind::untilClose),
        "the client sees the body end as we do");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = ferrin::fuzz::textOf(data, size);
  const std::size_t end = endOfHead(bytes, 0);
  if (end == 0 || end == malformedHead) return 0;
  for (std::size_t cut = 0; cut < end; cut += 1 + cut / 4) {
    claim(endOfHead(bytes.substr(0, cut), 0) == 0, "no end before the end");
    claim(endOfHead(bytes, cut) == end, "the same end wherever the bytes were cut");
  }
  const std::string_view head = bytes.substr(0, end);
  if (!head.starts_with("HTTP/")) checkRequest(head);
  for (const int version : {10, 11}) checkAnswer(head, version);
  return 0;
}
