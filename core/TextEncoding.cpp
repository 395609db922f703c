#include "core/TextEncoding.h"

#include <unicode/ucnv.h>

#include <cstdint>
#include <memory>

namespace ferrin::core {
namespace {

using namespace std::string_view_literals;

struct Encoding {
  /// ICU's name for it; null for UTF-8.
  const char* name;
  std::size_t markLength;
};

// The marks of UTF-32 come first: one of them begins like that of UTF-16.
Encoding encodingOf(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF"sv)) return {nullptr, 3};
  if (bytes.starts_with("\0\0\xFE\xFF"sv)) return {"UTF-32BE", 4};
  if (bytes.starts_with("\xFF\xFE\0\0"sv)) return {"UTF-32LE", 4};
  if (bytes.starts_with("\xFE\xFF"sv)) return {"UTF-16BE", 2};
  if (bytes.starts_with("\xFF\xFE"sv)) return {"UTF-16LE", 2};
  const auto isZero = [bytes](std::size_t index) { return index < bytes.size() && bytes[index] == '\0'; };
  if (isZero(0)) return {isZero(1) ? "UTF-32BE" : "UTF-16BE", 0};
  if (isZero(1)) return {isZero(2) ? "UTF-32LE" : "UTF-16LE", 0};
  return {nullptr, 0};
}

std::optional<std::string> converted(std::string_view bytes, const char* encoding) {
  constexpr std::size_t oneGiB = 1 << 30;
  if (bytes.size() > oneGiB) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(encoding, &status),
                                                                     &ucnv_close);
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status)) return std::nullopt;
  std::string result(bytes.size() + bytes.size() / 2 + 1, '\0');  // two bytes of UTF-16 become three at most
  const std::int32_t length =
      ucnv_toAlgorithmic(UCNV_UTF8, converter.get(), result.data(), static_cast<std::int32_t>(result.size()),
                         bytes.data(), static_cast<std::int32_t>(bytes.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  result.resize(static_cast<std::size_t>(length));
  return result;
}

}  // namespace

std::optional<std::string> textAsUTF8(std::string_view bytes) {
  const Encoding encoding = encodingOf(bytes);
  const std::string_view text = bytes.substr(encoding.markLength);
  if (encoding.name == nullptr) return std::string(text);
  return converted(text, encoding.name);
}

}  // namespace ferrin::core
