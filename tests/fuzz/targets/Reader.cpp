#include "tests/fuzz/targets/Reader.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

namespace ferrin::fuzz {
namespace {

/// The next line without its end, if it has one.
std::optional<std::string_view> takeLine(std::string_view bytes, std::size_t& at) {
  const std::size_t end = bytes.find('\n', at);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = bytes.substr(at, end - at);
  at = end + 1;
  return line.substr(0, line.find_last_not_of('\r') + 1);
}

std::string trimmed(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
  return std::string(text.substr(begin, text.find_last_not_of(" \t") + 1 - begin));
}

Message readHead(std::string_view bytes) {
  Message message;
  while (bytes.substr(message.size).starts_with("\r\n")) message.size += 2;
  std::optional<std::string_view> line = takeLine(bytes, message.size);
  if (line) message.startLine = *line;
  while (line && (line = takeLine(bytes, message.size)) && !line->empty()) {
    const std::size_t colon = std::min(line->find(':'), line->size() - 1);
    message.fields.emplace_back(line->substr(0, colon), trimmed(line->substr(colon + 1)));
  }
  message.hasHead = line.has_value();
  return message;
}

void readCounted(std::string_view bytes, std::size_t size, Message& message) {
  message.content = bytes.substr(message.size, size);
  message.size += message.content.size();
  message.isWhole = message.content.size() == size;
}

void readBody(std::string_view bytes, Message& message, std::size_t sizeWithout) {
  const auto length = message.value("content-length");
  if (lowerCase(message.value("transfer-encoding").value_or("")) == "chunked") {
    readChunks(bytes, message);
  } else {
    readCounted(bytes, length ? std::strtoull(length->c_str(), nullptr, 10) : sizeWithout, message);
  }
}

}  // namespace

std::string Message::word(std::size_t index) const {
  std::istringstream words(startLine);
  std::string word;
  for (std::size_t at = 0; at <= index; ++at) words >> word;
  return word;
}

std::optional<std::string> Message::value(std::string_view name) const {
  for (const auto& [key, value] : fields) {
    if (lowerCase(key) == name) return value;
  }
  return std::nullopt;
}

std::size_t Message::count(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(
      fields.begin(), fields.end(), [name](const auto& field) { return lowerCase(field.first) == name; }));
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char byte) { return std::tolower(byte); });
  return lower;
}

void readChunks(std::string_view bytes, Message& message) {
  while (const auto line = takeLine(bytes, message.size)) {
    if (line->empty() || std::isxdigit(static_cast<unsigned char>(line->front())) == 0) return;
    const std::size_t size = std::strtoull(std::string(*line).c_str(), nullptr, 16);
    if (size == 0) break;
    const std::string_view chunk = bytes.substr(message.size, size);
    message.content += chunk;
    message.size += chunk.size();
    if (chunk.size() < size || !takeLine(bytes, message.size)) return;
  }
  while (const auto line = takeLine(bytes, message.size)) {
    if (line->empty()) message.isWhole = true;
    if (message.isWhole) return;
  }
}

Message readRequest(std::string_view bytes) {
  Message message = readHead(bytes);
  if (!message.hasHead) return message;
  const bool webSocket = message.value("upgrade").has_value();
  readBody(bytes, message, webSocket ? bytes.size() - message.size : 0);
  return message;
}

Message readAnswer(std::string_view bytes, bool answersHead, bool isClosed) {
  Message message = readHead(bytes);
  if (!message.hasHead) return message;
  const std::string status = message.word(1);
  const bool isInformational = status.starts_with("1") && status != "101";
  if (answersHead || isInformational || status == "204" || status == "304") {
    message.isWhole = true;
  } else if (status == "101" || (!message.value("content-length") && !message.value("transfer-encoding"))) {
    readCounted(bytes, bytes.size() - message.size, message);
    message.isWhole = isClosed;
  } else {
    readBody(bytes, message, 0);
  }
  return message;
}

}  // namespace ferrin::fuzz
