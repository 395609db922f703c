#include "tools/sampleprovider/Answer.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

namespace ferrin::sampleprovider {
namespace {

using Json = nlohmann::ordered_json;

std::string responseId(const Answer& answer) { return "resp_" + std::to_string(answer.number); }
std::string messageId(const Answer& answer) { return "msg_" + std::to_string(answer.number); }

Json textPart(std::string_view text) {
  return {{"type", "output_text"}, {"text", text}, {"annotations", Json::array()}};
}

Json message(const Answer& answer, std::string_view status, Json content) {
  return {{"id", messageId(answer)},
          {"type", "message"},
          {"status", status},
          {"role", "assistant"},
          {"content", std::move(content)}};
}

Json completedMessage(const Answer& answer) {
  return message(answer, "completed", Json::array({textPart(answer.text->whole)}));
}

Json usage(const Answer& answer) {
  const std::size_t output = answer.text->deltaEnds.size();
  return {{"input_tokens", answer.promptBytes},
          {"input_tokens_details", {{"cached_tokens", 0}}},
          {"output_tokens", output},
          {"output_tokens_details", {{"reasoning_tokens", 0}}},
          {"total_tokens", answer.promptBytes + output}};
}

Json response(const Answer& answer, std::string_view status, Json output, Json used) {
  return {{"id", responseId(answer)},
          {"object", "response"},
          {"created_at", answer.createdAt},
          {"status", status},
          {"error", nullptr},
          {"incomplete_details", nullptr},
          {"instructions", nullptr},
          {"metadata", Json::object()},
          {"model", answer.model},
          {"output", std::move(output)},
          {"parallel_tool_calls", true},
          {"temperature", nullptr},
          {"tool_choice", "auto"},
          {"tools", Json::array()},
          {"top_p", nullptr},
          {"usage", std::move(used)}};
}

Json responseInProgress(const Answer& answer) {
  return response(answer, "in_progress", Json::array(), nullptr);
}

Json responseCompleted(const Answer& answer) {
  return response(answer, "completed", Json::array({completedMessage(answer)}), usage(answer));
}

Json inOutput(Json members) {
  members["output_index"] = 0;
  return members;
}

Json inContent(const Answer& answer, Json members) {
  members["item_id"] = messageId(answer);
  members["content_index"] = 0;
  return inOutput(std::move(members));
}

struct Event {
  std::string_view type;
  Json (*members)(const Answer&);
};

constexpr std::array before{
    Event{"response.created",
          [](const Answer& a) -> Json {
            return {{"response", responseInProgress(a)}};
          }},
    Event{"response.in_progress",
          [](const Answer& a) -> Json {
            return {{"response", responseInProgress(a)}};
          }},
    Event{"response.output_item.added",
          [](const Answer& a) {
            return inOutput({{"item", message(a, "in_progress", Json::array())}});
          }},
    Event{"response.content_part.added",
          [](const Answer& a) {
            return inContent(a, {{"part", textPart("")}});
          }},
};

constexpr std::array after{
    Event{"response.output_text.done",
          [](const Answer& a) {
            return inContent(a, {{"text", a.text->whole}, {"logprobs", Json::array()}});
          }},
    Event{"response.content_part.done",
          [](const Answer& a) {
            return inContent(a, {{"part", textPart(a.text->whole)}});
          }},
    Event{"response.output_item.done",
          [](const Answer& a) {
            return inOutput({{"item", completedMessage(a)}});
          }},
    Event{"response.completed",
          [](const Answer& a) -> Json {
            return {{"response", responseCompleted(a)}};
          }},
};

void appendEvent(std::string& out, const Event& event, std::size_t sequence, const Answer& answer) {
  Json data = {{"type", event.type}, {"sequence_number", sequence}};
  data.update(event.members(answer));
  out.append("event: ").append(event.type).append("\ndata: ").append(data.dump()).append("\n\n");
}

/// Written by hand: streams consist of little else, and benchmarks should spend their time elsewhere.
void appendDelta(std::string& out, std::size_t sequence, const Answer& answer, std::string_view delta) {
  out.append(
         "event: response.output_text.delta\ndata: "
         "{\"type\":\"response.output_text.delta\",\"sequence_number\":")
      .append(std::to_string(sequence))
      .append(",\"item_id\":\"")
      .append(messageId(answer))
      .append("\",\"output_index\":0,\"content_index\":0,\"delta\":")
      .append(Json(delta).dump())
      .append(",\"logprobs\":[]}\n\n");
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::string_view errorCode(unsigned status) {
  switch (status) {
    case 400:
      return "invalid_request";
    case 401:
      return "invalid_api_key";
    case 404:
      return "not_found";
    case 405:
      return "method_not_allowed";
    case 413:
      return "body_too_large";
    case 429:
      return "rate_limit_exceeded";
    default:
      return status < 500 ? "request_refused" : "server_error";
  }
}

}  // namespace

std::string_view AnswerText::delta(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : deltaEnds[index - 1];
  return std::string_view(whole).substr(begin, deltaEnds[index] - begin);
}

AnswerText fillerText(std::uint64_t events, std::uint64_t deltaBytes) {
  static constexpr std::string_view words =
      "the quick relay carries every word of the answer as it comes and ";
  AnswerText text;
  for (std::size_t at = 0; at < events * deltaBytes; at += words.size()) {
    text.whole.append(words.substr(0, events * deltaBytes - at));
  }
  for (std::uint64_t event = 1; event <= events; ++event) text.deltaEnds.push_back(event * deltaBytes);
  return text;
}

AnswerText echoText(std::string prompt, std::uint64_t deltaBytes) {
  AnswerText text{std::move(prompt), {}};
  for (std::size_t begin = 0; begin < text.whole.size();) {
    std::size_t end = std::min<std::size_t>(begin + deltaBytes, text.whole.size());
    while (end > begin && end < text.whole.size() && isContinuation(text.whole[end])) --end;
    if (end == begin) {
      do ++end;
      while (end < text.whole.size() && isContinuation(text.whole[end]));
    }
    text.deltaEnds.push_back(end);
    begin = end;
  }
  return text;
}

std::string wholeAnswer(const Answer& answer) { return responseCompleted(answer).dump(); }

Events::Events(Answer streamed)
    : answer(std::move(streamed)),
      deltas(answer.text->deltaEnds.size()),
      count(before.size() + deltas + after.size()) {
  static_assert(firstDelta == before.size());
}

void Events::appendNext(std::string& out) {
  if (sequence < firstDelta) {
    appendEvent(out, before[sequence], sequence, answer);
  } else if (const std::size_t index = sequence - firstDelta; index < deltas) {
    appendDelta(out, sequence, answer, answer.text->delta(index));
  } else {
    appendEvent(out, after[index - deltas], sequence, answer);
  }
  ++sequence;
}

std::string modelList() {
  const Json model = {{"id", "sample-model"}, {"object", "model"}, {"created", 0}, {"owned_by", "ferrin"}};
  return Json{{"object", "list"}, {"data", Json::array({model})}}.dump();
}

std::string errorBody(unsigned status, std::string_view message) {
  const std::string_view type = status < 500 ? "invalid_request_error" : "server_error";
  const Json error = {{"message", message}, {"type", type}, {"param", nullptr}, {"code", errorCode(status)}};
  return Json{{"error", error}}.dump();
}

std::string_view errorMessage(unsigned status) {
  switch (status) {
    case 401:
      return "The key is not one of this provider's.";
    case 429:
      return "Too many requests; try again later.";
    default:
      return status < 500 ? "The request was refused." : "The provider failed.";
  }
}

}  // namespace ferrin::sampleprovider
