#include "core/UUID.h"

#include <algorithm>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace ferrin::core {
namespace {

constexpr std::size_t canonicalLength = 36;

constexpr bool isHyphenPlace(std::size_t index) {
  return index == 8 || index == 13 || index == 18 || index == 23;
}

/// The digit's value; negative for anything else.
int hexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

}  // namespace

UUID UUID::random() {
  const boost::uuids::uuid generated = boost::uuids::random_generator_pure()();
  UUID result;
  std::copy(generated.begin(), generated.end(), result.bytes.begin());
  return result;
}

// Boost's own parser also accepts braces and a form without hyphens.
std::optional<UUID> UUID::parse(std::string_view text) {
  if (text.size() != canonicalLength) return std::nullopt;
  UUID result;
  std::size_t digits = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (isHyphenPlace(index)) {
      if (text[index] != '-') return std::nullopt;
      continue;
    }
    const int value = hexDigit(text[index]);
    if (value < 0) return std::nullopt;
    std::uint8_t& byte = result.bytes[digits++ / 2];
    byte = static_cast<std::uint8_t>(byte << 4U | static_cast<unsigned>(value));
  }
  return result;
}

std::string UUID::text() const {
  boost::uuids::uuid value{};
  std::copy(bytes.begin(), bytes.end(), value.begin());
  std::string result = boost::uuids::to_string(value);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
  return result;
}

}  // namespace ferrin::core
