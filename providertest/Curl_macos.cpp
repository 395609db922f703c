#include "providertest/Curl.h"

namespace ferrin::providertest {

/// Linked: all of the system's libraries lie in one cache that every process shares.
const Curl& curl() {
#define FERRIN_FOUND(name) &curl_##name,
  static const Curl linked = {FERRIN_EACH_CURL_FUNCTION(FERRIN_FOUND)};
#undef FERRIN_FOUND
  return linked;
}

}  // namespace ferrin::providertest
