#include "providertest/SystemProxy.h"

namespace ferrin::providertest {

std::optional<std::string> systemProxy(const std::string&) { return std::nullopt; }

}  // namespace ferrin::providertest
