#include "tools/sampleprovider/Provider.h"

#include <array>
#include <boost/beast/http/status.hpp>
#include <charconv>
#include <utility>

#include "tools/sampleprovider/Prompt.h"

namespace ferrin::sampleprovider {
namespace {

std::string_view withoutQuery(std::string_view target) { return target.substr(0, target.find('?')); }

Reply methodRefused(std::string_view allowed) {
  Reply reply = errorReply(405, "This path does not take that method.");
  reply.extraHeader.append("Allow: ").append(allowed).append("\r\n");
  return reply;
}

Reply askedForError(const Options& options) {
  Reply reply = errorReply(options.status, errorMessage(options.status));
  if (options.retryAfterSeconds) {
    reply.extraHeader = "Retry-After: " + std::to_string(*options.retryAfterSeconds) + "\r\n";
  }
  return reply;
}

std::string_view connectionHeader(ReplyFraming framing) {
  if (!framing.keepAlive) return "Connection: close\r\n";
  return framing.httpVersion < 11 ? "Connection: keep-alive\r\n" : "";
}

std::string bodyHeader(const Reply& reply, ReplyFraming framing) {
  if (!reply.events) {
    return "Content-Type: application/json\r\nContent-Length: " + std::to_string(reply.body.size()) + "\r\n";
  }
  return std::string("Content-Type: text/event-stream; charset=utf-8\r\nCache-Control: no-store\r\n") +
         (isChunked(reply, framing) ? "Transfer-Encoding: chunked\r\n" : "");
}

}  // namespace

Provider::Provider(const Options& givenOptions, std::string key)
    : options(givenOptions),
      expectedAuthorization("Bearer " + std::move(key)),
      filler(std::make_shared<AnswerText>(fillerText(options.events, options.deltaBytes))) {}

Reply Provider::reply(const Request& request, std::int64_t now) {
  Reply reply = replyTo(request, now);
  reply.extraHeader.append("X-Request-Id: req_").append(std::to_string(++requests)).append("\r\n");
  return reply;
}

Reply Provider::replyTo(const Request& request, std::int64_t now) {
  std::string_view path = withoutQuery(request.target);
  if (!path.starts_with(options.prefix)) return errorReply(404, "There is nothing at this path.");
  path.remove_prefix(options.prefix.size());
  if (path != "/responses" && path != "/models") return errorReply(404, "There is nothing at this path.");
  if (request.authorization != expectedAuthorization) return errorReply(401, errorMessage(401));
  if (options.status != 200) return askedForError(options);
  if (path == "/models")
    return request.method == "GET" ? Reply{200, modelList(), {}, {}} : methodRefused("GET");
  return request.method == "POST" ? answerTo(request.body, now) : methodRefused("POST");
}

Reply Provider::answerTo(std::string_view body, std::int64_t now) try {
  Prompt prompt = readPrompt(body);
  Answer answer{requests + 1, now, std::move(prompt.model), prompt.text.size(), filler};
  if (options.echo) {
    answer.text = std::make_shared<AnswerText>(echoText(std::move(prompt.text), options.deltaBytes));
  }
  if (prompt.stream) return Reply{200, {}, Events(std::move(answer)), {}};
  return Reply{200, wholeAnswer(answer), {}, {}};
} catch (const BadPrompt& error) {
  return errorReply(400, error.what());
}

Reply errorReply(unsigned status, std::string_view message) {
  return Reply{status, errorBody(status, message), {}, {}};
}

bool isChunked(const Reply& reply, ReplyFraming framing) { return reply.events && framing.httpVersion >= 11; }

std::string head(const Reply& reply, ReplyFraming framing) {
  const auto reason =
      boost::beast::http::obsolete_reason(static_cast<boost::beast::http::status>(reply.status));
  std::string text = "HTTP/1.1 " + std::to_string(reply.status) + ' ';
  text.append(reason.data(), reason.size())
      .append("\r\n")
      .append(bodyHeader(reply, framing))
      .append(reply.extraHeader)
      .append(connectionHeader(framing))
      .append("\r\n");
  return text;
}

void appendChunk(std::string& out, std::string_view data) {
  if (data.empty()) return;
  std::array<char, 16> size{};
  const auto end = std::to_chars(size.data(), size.data() + size.size(), data.size(), 16).ptr;
  out.append(size.data(), end).append("\r\n").append(data).append("\r\n");
}

}  // namespace ferrin::sampleprovider
