#pragma once
// The header fields that the relay does something about. A further one is a row of the table in Fields.cpp.

#include <cstdint>
#include <string_view>

namespace ferrin::proxy {

enum class Field : std::uint8_t {
  other,  ///< none of those below
  apiKey,
  authorization,
  chatGPTAccountId,
  connection,
  contentLength,
  cookie,
  expect,
  host,
  keepAlive,
  openAIOrganization,
  openAIProject,
  origin,
  proxyAuthorization,
  proxyConnection,
  secFetchSite,
  setCookie,
  te,
  transferEncoding,
  upgrade,
  xApiKey,
};

/// In which messages a field goes on to the other side.
enum class Passage : std::uint8_t { both, requests, responses, neither };

struct KnownField {
  std::string_view name;  ///< none for Field::other
  Field id;
  Passage passage;
};

/// What is known of the field `name`, whatever the case of its letters. For the life of the process.
const KnownField& knownField(std::string_view name);

/// Whether two texts are equal but for the case of ASCII letters.
bool sameIgnoringCase(std::string_view one, std::string_view other);
/// Whether `one` comes before `other` when the case of ASCII letters is left out of account.
bool beforeIgnoringCase(std::string_view one, std::string_view other);

}  // namespace ferrin::proxy
