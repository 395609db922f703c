#include "core/NameOrder.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/stringpiece.h>

namespace ferrin::core {
namespace {

std::unique_ptr<icu::Collator> collatorFor(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> result(icu::Collator::createInstance(locale, status));
  if (U_FAILURE(status)) return nullptr;
  result->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  result->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
  return result;
}

icu::StringPiece piece(std::string_view text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

}  // namespace

/// Null when ICU's data is missing or damaged.
struct NameOrder::Collator {
  std::unique_ptr<icu::Collator> icu;
};

NameOrder::NameOrder(const std::string& locale)
    : collator(std::make_unique<Collator>(Collator{collatorFor(icu::Locale(locale.c_str()))})) {}

NameOrder::~NameOrder() = default;

bool NameOrder::operator()(std::string_view first, std::string_view second) const {
  if (collator->icu == nullptr) return first < second;
  UErrorCode status = U_ZERO_ERROR;
  return collator->icu->compareUTF8(piece(first), piece(second), status) == UCOL_LESS;
}

}  // namespace ferrin::core
