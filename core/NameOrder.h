#pragma once
// The order in which names are listed to a person.

#include <memory>
#include <string>
#include <string_view>

namespace ferrin::core {

/// The user's locale as the system has it, such as "sv_SE" or "zh_CN"; empty where none is set, which stands
/// for the order that suits every language.
std::string userLocale();

/// Orders names as a file browser does: by the locale's alphabet, runs of digits by their value, and with
/// upper and lower case or accents deciding only between names that are otherwise the same. Usable from the
/// thread that made it.
class NameOrder {
 public:
  explicit NameOrder(const std::string& locale = userLocale());
  NameOrder(const NameOrder&) = delete;
  NameOrder& operator=(const NameOrder&) = delete;
  ~NameOrder();

  /// Whether `first` stands before `second`. Bytes that are not UTF-8 count as replacement characters.
  bool operator()(std::string_view first, std::string_view second) const;

 private:
  struct Collator;
  std::unique_ptr<Collator> collator;
};

}  // namespace ferrin::core
