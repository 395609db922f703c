// Whole exchanges through the relay: what a careless reader finds at either end is the same, and nothing that
// was broken off looks whole. Secrets stay on their side. Each exchange has its line in the log.

#include <zstd.h>

#include <algorithm>
#include <optional>
#include <sstream>

#include "tests/fuzz/targets/Claim.h"
#include "tests/fuzz/targets/Conversation.h"
#include "tests/fuzz/targets/Reader.h"

using namespace ferrin::fuzz;

namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

constexpr std::array<std::string_view, 10> hopFields{
    "connection",        "keep-alive",     "te",
    "trailer",           "upgrade",        "proxy-connection",
    "transfer-encoding", "content-length", "x-ferrin-relay",
    "set-cookie"};
constexpr std::array<std::string_view, 7> requestFields{
    "host", "authorization", "x-api-key", "cookie", "openai-project", "sec-websocket-protocol", "expect"};

template <typename List>
bool has(const List& list, std::string_view name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

std::vector<std::string> namedByConnection(const Message& message) {
  std::vector<std::string> names;
  for (const auto& [name, value] : message.fields) {
    std::istringstream members(lowerCase(name) == "connection" ? value : "");
    for (std::string member; std::getline(members, member, ',');) {
      member.erase(0, std::min(member.find_first_not_of(" \t"), member.size()));
      names.push_back(lowerCase(member.substr(0, member.find_last_not_of(" \t") + 1)));
    }
  }
  return names;
}

/// The fields that pass unchanged.
Fields passing(const Message& message, bool isRequest) {
  const auto named = namedByConnection(message);
  Fields fields;
  for (const auto& field : message.fields) {
    const std::string name = lowerCase(field.first);
    std::string dashed = name;
    std::replace(dashed.begin(), dashed.end(), '_', '-');
    const bool stops = (has(hopFields, name) && !(isRequest && name == "set-cookie") &&
                        !(isRequest && name == "x-ferrin-relay")) ||
                       has(named, name) || (isRequest && has(requestFields, dashed)) ||
                       (isRequest && name == "content-encoding");
    if (!stops) fields.push_back(field);
  }
  return fields;
}

bool isOwn(const Message& answer) { return answer.value("x-ferrin-relay").has_value(); }

struct Case {
  const Script& script;
  const Outcome& outcome;
  std::vector<Message> requests, arrived, answers;
  std::vector<std::string> lines;
};

std::vector<Message> requestsIn(std::string_view bytes) {
  std::vector<Message> requests;
  while (!bytes.empty()) {
    requests.push_back(readRequest(bytes));
    bytes.remove_prefix(requests.back().size);
    if (!requests.back().isWhole) break;
  }
  if (!requests.empty() && !requests.back().hasHead) requests.pop_back();
  return requests;
}

/// The final answers, with the informational ones' fields checked on the way.
std::vector<Message> answersIn(std::string_view bytes, const std::vector<Message>& requests, bool isClosed) {
  std::vector<Message> answers;
  while (!bytes.empty()) {
    const bool toHead = answers.size() < requests.size() && requests[answers.size()].word(0) == "HEAD";
    const Message answer = readAnswer(bytes, toHead, isClosed);
    if (!answer.hasHead) break;
    claim(answer.count("content-length") + answer.count("transfer-encoding") <= 1,
          "an answer has one framing at most");
    bytes.remove_prefix(answer.size);
    const std::string status = answer.word(1);
    if (status == "101" || !status.starts_with("1")) answers.push_back(answer);
    if (!answer.isWhole) break;
  }
  return answers;
}

void claimSecrets(const Case& seen) {
  claim(seen.outcome.received.find(relayKey) == std::string::npos, "the key never comes down");
  claim(seen.outcome.log.find(relayKey) == std::string::npos, "the key is in no line");
  if (!seen.script.isSpoilt) {
    claim(seen.outcome.received.find(upstreamSecret) == std::string::npos,
          "cookies and trailers never come down");
    claim(seen.outcome.log.find(clientSecret) == std::string::npos, "credentials are in no line");
  }
  for (const Arrival& arrival : seen.outcome.arrivals)
    claim(seen.script.isSpoilt || arrival.request.find(clientSecret) == std::string::npos,
          "credentials never go up");
}

/// The content as the upstream gets it; nothing if it can't be decoded.
std::optional<std::string> decoded(const Message& request) {
  if (lowerCase(request.value("content-encoding").value_or("")) != "zstd" || request.content.empty())
    return request.content;
  const auto size = ZSTD_getFrameContentSize(request.content.data(), request.content.size());
  if (size > (1U << 24U)) return std::nullopt;
  std::string text(size, '\0');
  const std::size_t done =
      ZSTD_decompress(text.data(), text.size(), request.content.data(), request.content.size());
  return ZSTD_isError(done) != 0 ? std::nullopt : std::optional(text);
}

void claimRequest(const Case& seen, const Message& request, const Message& arrived) {
  claim(request.word(0) == arrived.word(0) && "/b" + request.word(1).substr(3) == arrived.word(1),
        "the request line");
  claim(arrived.count("authorization") == 1 &&
            arrived.value("authorization") == "Bearer " + std::string(relayKey),
        "the key goes up, once");
  claim(passing(request, true) == passing(arrived, true), "the request's fields, in order");
  claim(arrived.count("content-length") + arrived.count("transfer-encoding") <= 1,
        "a request has one framing at most");
  claim(!arrived.isWhole || request.isWhole, "a request that was cut off is not whole");
  const auto content = decoded(request);
  if (!content) return;
  claim(content->starts_with(arrived.content), "no byte of a request is invented");
  claim(!arrived.isWhole || arrived.value("upgrade") || *content == arrived.content,
        "no byte of a request is lost");
}

void claimAnswer(const Case& seen, const Message& request, const Arrival& arrival, const Message& answer) {
  const std::vector<Message> given = answersIn(arrival.answer, {request}, arrival.isAnswerClosed);
  claim(!given.empty(), "no answer is invented");
  const Message& original = given.front();
  claim(original.word(1) == answer.word(1), "the status");
  claim(passing(original, false) == passing(answer, false), "the answer's fields, in order");
  claim(original.content.starts_with(answer.content), "no byte of an answer is invented");
  claim(!answer.isWhole || (original.isWhole && original.content == answer.content),
        "an answer that was cut off is not whole");
  claim(request.word(2) != "HTTP/1.0" || !answer.value("transfer-encoding"), "HTTP/1.0 has no chunks");
  const bool undisturbed = !seen.script.isRefused && !seen.outcome.clientLeft && !seen.outcome.hasWaited;
  claim(!undisturbed || answer.isWhole == original.isWhole, "no byte of an answer is lost");
}

void claimLine(const std::string& line, const Message& request, const Message& answer,
               const Message* arrived) {
  std::istringstream words(line);
  std::string time, method, path, status, in, out;
  words >> time >> method >> path >> status >> in >> out;
  claim(status == answer.word(1), "the line has the status");
  if (method != "-") claim(method == request.word(0), "the line has the method");
  claim(isOwn(answer) || !answer.isWhole || out == "out=" + std::to_string(answer.content.size()),
        "the line counts the answer");
  if (!isOwn(answer) && arrived != nullptr && arrived->isWhole && !arrived->value("upgrade") &&
      !request.value("content-encoding"))
    claim(in == "in=" + std::to_string(arrived->content.size()), "the line counts the request");
  const std::string end = isOwn(answer)    ? " end=refused"
                          : answer.isWhole ? " end=complete"
                                           : " end=truncated";
  claim(line.find(end) != std::string::npos, "the line says how it ended");
}

bool saysClose(const Message& message) {
  return message.word(2) == "HTTP/1.0" || has(namedByConnection(message), "close");
}

void show(const Case& seen) {
  std::fprintf(stderr, "---- sent\n%.3000s\n", seen.outcome.sent.c_str());
  for (const Arrival& arrival : seen.outcome.arrivals)
    std::fprintf(stderr, "---- arrived\n%.3000s\n---- answered, %d\n%.3000s\n", arrival.request.c_str(),
                 arrival.isAnswerClosed, arrival.answer.c_str());
  std::fprintf(stderr, "---- received, reset %d, left %d, waited %d\n%.3000s\n---- log\n%s\n",
               seen.outcome.isReset, seen.outcome.clientLeft, seen.outcome.hasWaited,
               seen.outcome.received.c_str(), seen.outcome.log.c_str());
}

/// Why a further request of a script without faults may stay unanswered: the connection ended with this one.
bool isLast(const Case& seen, std::size_t index) {
  return saysClose(seen.requests[index]) || !seen.answers[index].isWhole ||
         has(namedByConnection(seen.answers[index]), "close") || seen.script.answers[index].isEarly;
}

/// Where nothing is wrong, late or gone, every request is answered, by the upstream if it began an answer.
void claimCompleteness(const Case& seen) {
  const Outcome& outcome = seen.outcome;
  if (!seen.script.isSmooth()) return;
  claim(!outcome.hasWaited, "nothing waits for a time limit");
  claim(!seen.answers.empty(), "the first request is answered");
  claim(seen.answers.size() <= seen.requests.size(), "no request is invented");
  for (std::size_t index = 0; index < seen.answers.size(); ++index) {
    claim(index + 1 < seen.answers.size() || seen.answers.size() == seen.script.requestEnds.size() ||
              isLast(seen, index),
          "the next request is answered");
    const bool begun =
        index < outcome.arrivals.size() && !answersIn(outcome.arrivals[index].answer, {}, true).empty();
    const bool webSocket = seen.requests[index].value("upgrade").has_value();
    claim(!isOwn(seen.answers[index]) || webSocket || (!begun && seen.answers[index].word(1) == "502"),
          "the upstream's answer is used");
  }
}

void claimExchanges(const Case& seen) {
  std::size_t arrival = 0;
  for (std::size_t index = 0; index < seen.requests.size(); ++index) {
    const Message& request = seen.requests[index];
    const bool hasArrived = arrival < seen.arrived.size() && request.word(1).size() > 3 &&
                            "/b" + request.word(1).substr(3) == seen.arrived[arrival].word(1);
    if (hasArrived) claimRequest(seen, request, seen.arrived[arrival]);
    if (index < seen.answers.size()) {
      const Message& answer = seen.answers[index];
      claim(isOwn(answer) || hasArrived, "no answer without its request");
      if (!isOwn(answer)) claimAnswer(seen, request, seen.outcome.arrivals[arrival], answer);
      if (!seen.outcome.clientLeft)
        claimLine(seen.lines.at(index), request, answer, hasArrived ? &seen.arrived[arrival] : nullptr);
    }
    if (hasArrived) ++arrival;
  }
  claim(arrival == seen.arrived.size(), "nothing arrives that was not asked for");
}

/// One line for each answer, and for the exchange that ended before its answer was there.
void claimLines(const Case& seen) {
  const std::size_t answered = seen.answers.size();
  if (seen.outcome.clientLeft) {
    claim(seen.lines.size() >= std::max(answered, seen.arrived.size()) &&
              seen.lines.size() <= seen.requests.size() + 1,
          "a line each");
  } else if (seen.outcome.isReset && seen.lines.size() == answered + 1) {
    claim(answered < seen.requests.size(), "one line each");
    const std::string target = seen.requests[answered].word(1);
    claim(seen.lines.back().find(" " + target.substr(0, target.find('?')) + " ") != std::string::npos,
          "one line for the exchange that was reset");
  } else {
    claim(seen.lines.size() == answered, "one line each");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider choice(data, size);
  Script script(choice);
  const Outcome outcome = play(script, choice);
  Case seen{script, outcome, requestsIn(outcome.sent), {}, {}, {}};
  for (const Arrival& arrival : outcome.arrivals) seen.arrived.push_back(readRequest(arrival.request));
  seen.answers = answersIn(outcome.received, seen.requests, outcome.isClosed);
  std::istringstream log(outcome.log);
  for (std::string line; std::getline(log, line);) {
    if (line.find(" end=") != std::string::npos) seen.lines.push_back(line);
  }
  if (std::getenv("SHOW") != nullptr) show(seen);
  claimSecrets(seen);
  claimLines(seen);
  claimExchanges(seen);
  claimCompleteness(seen);
  return 0;
}
