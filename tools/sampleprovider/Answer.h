#pragma once
// What the provider says: whole answers, the events of a stream, the list of models, errors. Text in and out.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sampleprovider/Options.h"

namespace ferrin::sampleprovider {

/// An answer's text and where its deltas end. One such text serves all answers that don't echo.
struct AnswerText {
  std::string whole;
  std::vector<std::size_t> deltaEnds;

  std::string_view delta(std::size_t index) const;
};

/// `events` deltas of `deltaBytes` each.
AnswerText fillerText(std::uint64_t events, std::uint64_t deltaBytes);
/// `prompt` in deltas of at most `deltaBytes`, or of one character where that is longer: characters are never
/// split.
AnswerText echoText(std::string prompt, std::uint64_t deltaBytes);

/// What every part of one answer repeats.
struct Answer {
  std::uint64_t number = 0;
  std::int64_t createdAt = 0;
  std::string model;
  std::size_t promptBytes = 0;
  std::shared_ptr<const AnswerText> text;
};

/// The whole answer as one JSON object. Its token counts are the prompt's bytes and the answer's deltas.
std::string wholeAnswer(const Answer& answer);

/// The same answer as server-sent events, one at a time, in the order in which clients expect them.
class Events {
 public:
  explicit Events(Answer streamed);

  bool atEnd() const { return sequence == count; }
  /// Whether the next event is a delta after the first: those are spaced out in time.
  bool isLaterDelta() const { return sequence > firstDelta && sequence < firstDelta + deltas; }
  /// Appends the next event, its empty line included. Not to be called at the end.
  void appendNext(std::string& out);

 private:
  static constexpr std::size_t firstDelta = 4;

  Answer answer;
  std::size_t deltas;
  std::size_t count;
  std::size_t sequence = 0;
};

/// The answer to GET /models.
std::string modelList();

/// An error in the provider's shape. `message` is for a person.
std::string errorBody(unsigned status, std::string_view message);
/// The message for an error that the command line asked for.
std::string_view errorMessage(unsigned status);

}  // namespace ferrin::sampleprovider
