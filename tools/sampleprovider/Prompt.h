#pragma once
// What a request to /responses asks for.

#include <stdexcept>
#include <string>
#include <string_view>

namespace ferrin::sampleprovider {

struct Prompt {
  std::string model;
  std::string text;
  bool stream = false;
};

/// The request is not one that /responses takes; what() is for its sender.
class BadPrompt : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads a request's body. The text is `input` where that is a string, else the texts of its messages in
/// order, joined by line feeds. Members that aren't needed are skipped without being kept, so that a body of
/// many megabytes costs little. Throws BadPrompt for anything but a JSON object with a model and an input.
Prompt readPrompt(std::string_view body);

}  // namespace ferrin::sampleprovider
