#pragma once
// Finding the text in a provider's answer.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// A decoded JSON object.
class JSONObject {
 public:
  /// Nothing unless `body` is JSON with an object at its top. It may be UTF-8, UTF-16 or UTF-32, with or
  /// without a byte-order mark.
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
/// items of "output", joined with nothing between. A "content" that isn't a list of objects counts as empty;
/// an "output" that isn't one holds no text at all. Nothing when no text is found, which differs from an
/// empty one.
std::optional<std::string> extractText(const JSONObject& object);

/// What the window shows for a request that has ended.
std::string answerText(const HttpResult& result);

}  // namespace ferrin::providertest
