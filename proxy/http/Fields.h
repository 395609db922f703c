#pragma once
// The header fields that the relay does something about. A further one is a row of the table in Fields.cpp.

#include <cstdint>
#include <string_view>

namespace ferrin::proxy {

/// A field that some rule asks for by itself. Fields that only pass or stop need no name here.
enum class Field : std::uint8_t {
  other,
  authorization,
  connection,
  contentEncoding,
  contentLength,
  expect,
  host,
  origin,
  secFetchSite,
  setCookie,
  transferEncoding,
  upgrade,
  webSocketProtocol,
};

/// In which messages a field passes to the other side.
enum class Passage : std::uint8_t { both, requests, responses, neither };

struct KnownField {
  std::string_view name;  ///< empty for a field without a row
  Passage passage;
  Field id = Field::other;
};

/// What is known of the field `name`, whatever the case of its letters. Never fails; for the life of the
/// process.
const KnownField& knownField(std::string_view name);

/// Whether two texts are equal, the case of ASCII letters aside.
bool sameIgnoringCase(std::string_view one, std::string_view other);
/// Whether `one` sorts before `other`, the case of ASCII letters aside.
bool beforeIgnoringCase(std::string_view one, std::string_view other);

}  // namespace ferrin::proxy
