#include "providertest/AnswerText.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "core/Text.h"
#include "core/TextEncoding.h"

namespace ferrin::providertest {
namespace {

using Json = nlohmann::json;

const std::string* stringMember(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

/// The member when it is a list of objects and of nothing else.
const Json* objectsMember(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_array()) return nullptr;
  const bool allObjects =
      std::all_of(found->begin(), found->end(), [](const Json& item) { return item.is_object(); });
  return allObjects ? &*found : nullptr;
}

bool isSuccess(int status) { return status >= 200 && status < 300; }

}  // namespace

struct JSONObject::Value {
  Json json;
};

JSONObject::JSONObject(std::unique_ptr<Value> decoded) : value(std::move(decoded)) {}
JSONObject::JSONObject(JSONObject&&) noexcept = default;
JSONObject& JSONObject::operator=(JSONObject&&) noexcept = default;
JSONObject::~JSONObject() = default;

std::optional<JSONObject> JSONObject::decode(std::string_view body) {
  const auto text = core::textAsUTF8(body);
  // The parser takes a NUL, which JSON never holds, for the end.
  if (!text || text->find('\0') != std::string::npos) return std::nullopt;
  Json json = Json::parse(*text, nullptr, /*allow_exceptions=*/false);
  if (!json.is_object()) return std::nullopt;
  return JSONObject(std::make_unique<Value>(Value{std::move(json)}));
}

std::optional<std::string> extractText(const JSONObject& object) {
  const Json& answer = object.value->json;
  if (const auto* whole = stringMember(answer, "output_text")) return *whole;
  const Json* items = objectsMember(answer, "output");
  if (items == nullptr) return std::nullopt;
  std::optional<std::string> joined;
  for (const Json& item : *items) {
    const Json* parts = objectsMember(item, "content");
    if (parts == nullptr) continue;
    for (const Json& part : *parts) {
      const auto* text = stringMember(part, "text");
      if (text == nullptr) continue;
      if (!joined) joined.emplace();
      *joined += *text;
    }
  }
  return joined;
}

/// A body that is an object without text is shown as it is: it may say what went wrong.
std::string answerText(const HttpResult& result) {
  if (result.error) return "请求失败：" + *result.error;
  if (result.status && !isSuccess(*result.status)) return "请求失败：HTTP " + std::to_string(*result.status);
  const auto object = JSONObject::decode(result.body);
  if (!object) return "服务未返回可读取结果。";
  if (auto text = extractText(*object)) return *text;
  return core::isUTF8(result.body) ? result.body : "服务未返回文本。";
}

}  // namespace ferrin::providertest
