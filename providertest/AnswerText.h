#pragma once
// The text in a provider's answer.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// A decoded JSON object; keeps the JSON library out of this header. After a move only destruction is
/// allowed.
class JSONObject {
 public:
  /// No value unless `body` is JSON with an object at the top: UTF-8, UTF-16 or UTF-32, with or without a
  /// byte-order mark. Throws nothing because of the body.
  static std::optional<JSONObject> decode(std::string_view body);

  JSONObject(JSONObject&&) noexcept;
  JSONObject& operator=(JSONObject&&) noexcept;
  ~JSONObject();

 private:
  friend std::optional<std::string> extractText(const JSONObject& object);

  struct Value;
  explicit JSONObject(std::unique_ptr<Value> decoded);

  std::unique_ptr<Value> value;
};

/// The member "output_text" when it is a string, else the strings "text" of all parts of "content" of all
/// items of "output", concatenated. A "content" that isn't a list of objects counts as empty; without an
/// "output" that is one there is no text. No value when there is no text, which differs from an empty text.
std::optional<std::string> extractText(const JSONObject& object);

/// What the window shows for a request that has ended: the text, or in one line why there is none.
std::string answerText(const HttpResult& result);

}  // namespace ferrin::providertest
