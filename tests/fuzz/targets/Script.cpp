#include "tests/fuzz/targets/Script.h"

#include <zstd.h>

#include <algorithm>
#include <array>

#include "proxy/http/Framing.h"

namespace ferrin::fuzz {
namespace {

constexpr std::size_t maxFields = 5;
constexpr std::size_t aboveLimits = 70'000;
constexpr std::size_t manyBlocks = 500'000;
constexpr int manyFields = 1'100;

// Bodies have what a relay must not take for something else.
constexpr std::array<const char*, 5> snippets{"x", "0\r\n\r\n", "\r\n\r\n",
                                              "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
                                              "GET /v1/hidden HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"};
constexpr std::array<const char*, 15> requestFields{
    "Authorization: Bearer client-secret",
    "x_api_key: client-secret",
    "Cookie: a=client-secret",
    "OpenAI-Project:client-secret",
    "Sec-WebSocket-Protocol: openai-insecure-api-key.client-secret",
    "Connection: X-Hop, keep-alive",
    "X-Hop: 1",
    "Connection: close",
    "TE: trailers",
    "Expect: 100-continue",
    "Accept-Encoding: zstd",
    "Keep-Alive: 5",
    "X-Odd:  a \t b ",
    "Set-Cookie: c",
    "Accept: */*"};
constexpr std::array<const char*, 12> answerFields{"Set-Cookie: a=upstream-secret",
                                                   "Connection: close, X-Hop",
                                                   "X-Hop: 1",
                                                   "X-Ferrin-Relay: error",
                                                   "Retry-After: 7",
                                                   "Content-Encoding: gzip",
                                                   "Trailer: Set-Cookie",
                                                   "Keep-Alive: timeout=5",
                                                   "Authorization: odd",
                                                   "X-Empty:",
                                                   "Connection: keep-alive",
                                                   "Via: x"};
constexpr std::array<const char*, 10> statuses{
    "200 OK",   "204 No Content", "304 Not Modified", "401 ", "407 Login",
    "429 Wait", "500 No",         "301 There",        "299",  "101 Switching Protocols"};

class Writer {
 public:
  Writer(FuzzedDataProvider& given, Script& into) : choice(given), script(into) {}

  void addRequest(std::size_t number, bool isLast);
  Answer answer(const std::string& request, std::size_t number);
  void spoil(Line& line);
  void leave(Line& line);

 private:
  template <typename List>
  std::string fields(const List& list);
  std::size_t size(std::size_t limit);
  std::string content();
  std::string chunked(const std::string& content);
  void appendBody(std::string& bytes, bool mayBeEncoded);
  void finish(Answer& answer, bool isBodiless, bool mayBeFramed);

  FuzzedDataProvider& choice;
  Script& script;
};

/// Small, or just below or above the limit.
std::size_t Writer::size(std::size_t limit) {
  const auto small = choice.ConsumeIntegralInRange<std::size_t>(0, 40);
  if (small < 40) return small;
  const auto large = limit - 40 + choice.ConsumeIntegralInRange<std::size_t>(0, 80);
  script.isRefused = true;
  return large;
}

template <typename List>
std::string Writer::fields(const List& list) {
  std::string lines;
  for (auto count = choice.ConsumeIntegralInRange<std::size_t>(0, maxFields); count > 0; --count)
    lines.append(choice.PickValueInArray(list)).append("\r\n");
  if (choice.ConsumeIntegralInRange(0, 31) == 31) {
    for (int count = 0; count < manyFields; ++count) lines.append("A:\r\n");
  }
  if (choice.ConsumeBool()) lines.append("X-Long: ").append(size(65'300), 'l').append("\r\n");
  return lines;
}

std::string Writer::content() {
  std::string text;
  for (auto count = choice.ConsumeIntegralInRange<std::size_t>(0, 3); count > 0; --count)
    text.append(choice.PickValueInArray(snippets))
        .append(choice.ConsumeIntegralInRange<std::size_t>(0, 300), 'b');
  if (choice.ConsumeIntegralInRange(0, 15) == 15) text.append(aboveLimits, 'c');
  return text;
}

std::string Writer::chunked(const std::string& content) {
  std::string body;
  for (std::size_t at = 0; at < content.size();) {
    const auto rest = content.size() - at;
    const auto count = rest - choice.ConsumeIntegralInRange<std::size_t>(0, rest - 1);
    std::string head = proxy::chunkHeadOf(count);
    if (choice.ConsumeBool()) head.insert(head.size() - 2, ";e=" + std::string(size(4'096), 'e'));
    body.append(head).append(content, at, count).append("\r\n");
    at += count;
  }
  body.append("0\r\n");
  if (choice.ConsumeBool())
    body.append("Cookie: client-secret\r\nSet-Cookie: upstream-secret\r\nX: ")
        .append(size(16'384), 't')
        .append("\r\n");
  return body.append("\r\n");
}

void Writer::appendBody(std::string& bytes, bool mayBeEncoded) {
  std::string text = content();
  if (mayBeEncoded && choice.ConsumeBool()) {
    if (choice.ConsumeIntegralInRange(0, 3) == 3) text.append(manyBlocks, 'z');
    std::string frame(ZSTD_compressBound(text.size()), '\0');
    frame.resize(ZSTD_compress(frame.data(), frame.size(), text.data(), text.size(), 1));
    text = std::move(frame);
    bytes.append("Content-Encoding: zstd\r\n");
  }
  if (choice.ConsumeBool()) {
    bytes.append("Transfer-Encoding: chunked\r\n\r\n").append(chunked(text));
  } else {
    bytes.append("Content-Length: " + std::to_string(text.size()) + "\r\n\r\n").append(text);
  }
}

void Writer::addRequest(std::size_t number, bool isLast) {
  const bool isOld = choice.ConsumeIntegralInRange(0, 7) == 7;
  const bool webSocket = isLast && !isOld && choice.ConsumeIntegralInRange(0, 7) == 7;
  const char* method = webSocket ? "GET" : choice.PickValueInArray({"GET", "POST", "HEAD", "PUT", "DELETE"});
  std::string& out = script.client.bytes;
  out.append(method).append(" /v1/" + std::to_string(number)).append(choice.ConsumeBool() ? "?q=1" : "");
  out.append(isOld ? " HTTP/1.0\r\n" : " HTTP/1.1\r\n")
      .append("Host: 127.0.0.1:")
      .append(portSign)
      .append("\r\n")
      .append(fields(requestFields));
  if (webSocket) {
    out.append("Connection: Upgrade\r\nUpgrade: websocket\r\n\r\n");
    script.tunnelBegin = out.size();
    out.append(content());
  } else if (isOld || choice.ConsumeBool()) {
    out.append("\r\n");
  } else {
    appendBody(out, true);
  }
  script.requestEnds.push_back(out.size());
}

/// Adds the end of the head, and a body.
void Writer::finish(Answer& answer, bool isBodiless, bool mayBeFramed) {
  const std::size_t before = answer.bytes.size();
  if (!mayBeFramed || choice.ConsumeIntegralInRange(0, 3) == 3) {
    answer.bytes.append("\r\n").append(isBodiless ? "" : content());
    if (!isBodiless) answer.leaving = Leaving::closes;
  } else {
    appendBody(answer.bytes, false);
    if (isBodiless) answer.bytes.resize(answer.bytes.find("\r\n\r\n", before) + 4);
  }
  if (choice.ConsumeIntegralInRange(0, 7) == 7 && answer.leaving == Leaving::stays) {
    const std::string unasked = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nforged";
    answer.bytes.append(unasked);
    answer.unasked = unasked.size();
  }
}

Answer Writer::answer(const std::string& request, std::size_t number) {
  Answer answer;
  answer.isEarly = choice.ConsumeIntegralInRange(0, 3) == 3;
  for (auto count = choice.ConsumeIntegralInRange(0, 2); count > 0; --count)
    answer.bytes.append("HTTP/1.1 103 Early\r\nSet-Cookie: upstream-secret\r\nX-Hint: 1\r\n\r\n");
  const bool isOld = choice.ConsumeIntegralInRange(0, 3) == 3;
  const std::string status = choice.PickValueInArray(statuses);
  answer.bytes.append(isOld ? "HTTP/1.0 " : "HTTP/1.1 ").append(status);
  answer.bytes.append("\r\nX-Number: " + std::to_string(number) + "\r\n").append(fields(answerFields));
  const bool switches = status.starts_with("101");
  finish(answer, request.starts_with("HEAD") || status.starts_with("204") || status.starts_with("304"),
         !switches);
  if (switches || (isOld && answer.bytes.find("chunked") != std::string::npos)) script.isRefused = true;
  return answer;
}

/// Changes one byte, at times.
void Writer::spoil(Line& line) {
  if (line.bytes.empty() || choice.ConsumeIntegralInRange(0, 15) != 15) return;
  line.bytes[choice.ConsumeIntegralInRange<std::size_t>(0, line.bytes.size() - 1)] =
      choice.ConsumeIntegral<char>();
  script.isSpoilt = script.isRefused = true;
}

/// Has the side leave early, at times.
void Writer::leave(Line& line) {
  line.stop = line.bytes.size();
  if (choice.ConsumeIntegralInRange(0, 3) != 3) return;
  line.stop = choice.ConsumeIntegralInRange<std::size_t>(0, line.bytes.size());
  line.leaving = choice.PickValueInArray({Leaving::closes, Leaving::resets, Leaving::stalls});
}

}  // namespace

Script::Script(FuzzedDataProvider& choice) {
  Writer writer(choice, *this);
  isPipelined = choice.ConsumeBool();
  const auto count = choice.ConsumeIntegralInRange<std::size_t>(1, 3);
  for (std::size_t number = 0; number < count; ++number) {
    const std::size_t begin = client.bytes.size();
    writer.addRequest(number, number + 1 == count);
    answers.push_back(writer.answer(client.bytes.substr(begin, 4), number));
  }
  writer.spoil(client);
  writer.leave(client);
  pause = choice.ConsumeIntegralInRange<std::size_t>(0, client.bytes.size());
  for (Answer& answer : answers) {
    writer.spoil(answer);
    writer.leave(answer);
  }
  staysInPause = choice.ConsumeBool();
}

bool Script::isSmooth() const {
  const auto stalls = [](const Line& line) { return line.leaving == Leaving::stalls; };
  return !isRefused && client.leaving == Leaving::stays &&
         std::none_of(answers.begin(), answers.end(), stalls);
}

}  // namespace ferrin::fuzz
