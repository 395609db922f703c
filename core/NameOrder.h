#pragma once
// The order of names in a list that a user reads.

#include <memory>
#include <string>
#include <string_view>

namespace ferrin::core {

/// The user's locale, such as "sv_SE" or "zh_CN". Empty where none is set: NameOrder then uses ICU's root
/// locale, whose order is a compromise for all languages.
std::string userLocale();

/// Orders names as a file browser does: by the locale's alphabet, digits by their value, and case and accents
/// only between names that are otherwise the same. Not thread-safe. Without ICU's data, compares bytes.
class NameOrder {
 public:
  explicit NameOrder(const std::string& locale = userLocale());
  NameOrder(const NameOrder&) = delete;
  NameOrder& operator=(const NameOrder&) = delete;
  ~NameOrder();

  /// True when `first` comes before `second`: a strict weak ordering. Bytes that are not UTF-8 count as
  /// replacement characters.
  bool operator()(std::string_view first, std::string_view second) const;

 private:
  struct Collator;
  std::unique_ptr<Collator> collator;
};

}  // namespace ferrin::core
