#pragma once
// libcurl, loaded when it is first needed. With the thirty libraries that it brings it would take a seventh
// of the processor time of each start, and few starts need it.

#include <curl/curl.h>

#define FERRIN_EACH_CURL_FUNCTION(use)                                                                    \
  use(easy_cleanup) use(easy_getinfo) use(easy_init) use(easy_setopt) use(easy_strerror) use(free)        \
      use(global_init) use(multi_add_handle) use(multi_cleanup) use(multi_info_read) use(multi_init)      \
          use(multi_perform) use(multi_poll) use(multi_remove_handle) use(multi_wakeup) use(slist_append) \
              use(slist_free_all) use(strequal) use(url) use(url_cleanup) use(url_get) use(url_set)

namespace ferrin::providertest {

/// Its functions, each under libcurl's name without "curl_".
struct Curl {
#define FERRIN_MEMBER(name) decltype(&curl_##name) name;  // NOLINT(bugprone-macro-parentheses): declared
  FERRIN_EACH_CURL_FUNCTION(FERRIN_MEMBER)                // NOLINT(readability-identifier-naming): theirs
#undef FERRIN_MEMBER
};

/// From any thread. Where libcurl is missing, the process ends with a line that says so: the dynamic linker
/// would not even have started it.
const Curl& curl();

}  // namespace ferrin::providertest
