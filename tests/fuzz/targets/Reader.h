#pragma once
// Reads messages as somebody does who believes everything, and by none of the relay's own code: lines end at
// their line feed, sizes at the first other character. What the relay accepts has to mean the same to such a
// reader.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ferrin::fuzz {

struct Message {
  std::string startLine;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string content;
  std::size_t size = 0;  ///< of what was read of it
  bool hasHead = false;  ///< all of it
  bool isWhole = false;

  /// A part of the start line, counted from 0.
  std::string word(std::size_t index) const;
  /// The value of the first field of that name, in lower case.
  std::optional<std::string> value(std::string_view name) const;
  std::size_t count(std::string_view name) const;
};

std::string lowerCase(std::string_view text);

/// The request that `bytes` begin with, as far as it is there. One for a WebSocket goes on to the end.
Message readRequest(std::string_view bytes);
/// The same for an answer. `isClosed`: the connection ends after `bytes`, and properly.
Message readAnswer(std::string_view bytes, bool answersHead, bool isClosed);
/// Appends the content of the chunked body that `message.size` stands before.
void readChunks(std::string_view bytes, Message& message);

}  // namespace ferrin::fuzz
