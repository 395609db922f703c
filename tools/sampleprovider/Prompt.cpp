#include "tools/sampleprovider/Prompt.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace ferrin::sampleprovider {
namespace {

using Json = nlohmann::json;

/// Picks the few members it wants while the body is parsed.
class Picker {
 public:
  Prompt prompt;
  bool hasModel = false;
  bool hasInput = false;

  bool key(Json::string_t& name) {
    path.back() = std::move(name);
    return true;
  }
  bool string(Json::string_t& value) {
    if (path.empty()) return false;
    if (at({"model"})) {
      prompt.model = std::move(value);
      hasModel = true;
    } else if (at({"input"}) || at({"input", "", "content"}) || at({"input", "", "content", "", "text"})) {
      if (hasInput) prompt.text += '\n';
      prompt.text += value;
      hasInput = true;
    }
    return true;
  }
  bool boolean(bool value) {
    if (at({"stream"})) prompt.stream = value;
    return !path.empty();
  }
  // NOLINTBEGIN(readability-identifier-naming): the parser calls them so
  bool start_object(std::size_t) { return enter(); }
  bool end_object() { return leave(); }
  bool start_array(std::size_t) { return !path.empty() && enter(); }
  bool end_array() { return leave(); }

  bool null() { return !path.empty(); }
  bool number_integer(Json::number_integer_t) { return !path.empty(); }
  bool number_unsigned(Json::number_unsigned_t) { return !path.empty(); }
  bool number_float(Json::number_float_t, const Json::string_t&) { return !path.empty(); }
  bool binary(Json::binary_t&) { return false; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }
  // NOLINTEND(readability-identifier-naming)

 private:
  /// One name for each object or array that is open: the member being read, or nothing in an array.
  std::vector<std::string> path;

  bool enter() {
    path.emplace_back();
    return true;
  }
  bool leave() {
    path.pop_back();
    return true;
  }
  bool at(std::initializer_list<std::string_view> wanted) const {
    return std::equal(path.begin(), path.end(), wanted.begin(), wanted.end());
  }
};

}  // namespace

Prompt readPrompt(std::string_view body) {
  Picker picker;
  if (!Json::sax_parse(body, &picker)) throw BadPrompt("The body is not a JSON object.");
  if (!picker.hasModel) throw BadPrompt("'model' is missing or not a string.");
  if (!picker.hasInput) throw BadPrompt("'input' is missing or holds no text.");
  return std::move(picker.prompt);
}

}  // namespace ferrin::sampleprovider
