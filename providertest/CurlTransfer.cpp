#include "providertest/CurlTransfer.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>

#include "providertest/Curl.h"
#include "providertest/SystemProxy.h"

namespace ferrin::providertest {

namespace {

/// As the relay has it: no proxy is asked for this machine itself, which would be another one there. libcurl
/// looks for the variables only where it is told nothing, and takes the star only where it stands alone. Some
/// versions take blanks between the names, others end the list there.
std::string proxyExceptions() {
  for (const char* name : {"no_proxy", "NO_PROXY"}) {
    const std::string_view list = std::getenv(name) == nullptr ? "" : std::getenv(name);
    if (list == "*") return "*";
    if (list.empty()) continue;
    std::string exceptions = std::string("localhost,127.0.0.0/8,::1,").append(list);
    std::replace_if(
        exceptions.begin(), exceptions.end(), [](char each) { return each == ' ' || each == '\t'; }, ',');
    return exceptions;
  }
  return "localhost,127.0.0.0/8,::1";
}

/// libcurl quotes a proxy's address that it can't read, and its password with it.
std::string withoutProxyAddress(std::string_view reason) {
  if (!reason.starts_with("Unsupported proxy")) return std::string(reason);
  return "the proxy's address, in the environment, can't be used";
}

}  // namespace

static_assert(sizeof(std::array<char, 256>) >= CURL_ERROR_SIZE);

void CurlTransfer::FreeEasy::operator()(void* handle) const { curl().easy_cleanup(handle); }

void CurlTransfer::FreeHeaders::operator()(void* list) const {
  curl().slist_free_all(static_cast<curl_slist*>(list));
}

CurlTransfer::CurlTransfer(HttpRequest sent, HttpClient::Completion whenDone)
    : request(std::move(sent)), completion(std::move(whenDone)) {}

CurlTransfer::~CurlTransfer() = default;

void CurlTransfer::prepare(const std::string& trustedCertificates) {
  easy.reset(curl().easy_init());
  if (easy == nullptr) return;
  setRequest();
  setHeaders();
  setRules(trustedCertificates);
  setCallbacks();
  lastActivity = std::chrono::steady_clock::now();
}

void CurlTransfer::finish(int outcome) {
  if (outcome != CURLE_OK) {
    const char* general = curl().easy_strerror(static_cast<CURLcode>(outcome));
    return fail(withoutProxyAddress(reason.front() != '\0' ? reason.data() : general));
  }
  long status = 0;
  curl().easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
  completion({.error = std::nullopt, .status = static_cast<int>(status), .body = std::move(body)});
}

void CurlTransfer::fail(std::string why) {
  completion({.error = std::move(why), .status = std::nullopt, .body = {}});
}

void CurlTransfer::setRequest() {
  curl().easy_setopt(easy.get(), CURLOPT_URL, request.url.c_str());
  curl().easy_setopt(easy.get(), CURLOPT_POST, 1L);
  curl().easy_setopt(easy.get(), CURLOPT_POSTFIELDS, request.body.data());
  curl().easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
}

void CurlTransfer::setHeaders() {
  curl_slist* lines =
      curl().slist_append(nullptr, "Expect:");  // don't wait for "100 Continue" before a long body
  for (const HttpHeader& header : request.headers) {
    lines = curl().slist_append(lines, (header.name + ": " + header.value).c_str());
  }
  headers.reset(lines);
  curl().easy_setopt(easy.get(), CURLOPT_HTTPHEADER, lines);
}

void CurlTransfer::setRules(const std::string& trustedCertificates) {
  curl().easy_setopt(easy.get(), CURLOPT_PROTOCOLS_STR, "http,https");
  curl().easy_setopt(easy.get(), CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl().easy_setopt(easy.get(), CURLOPT_FOLLOWLOCATION, 1L);
  curl().easy_setopt(easy.get(), CURLOPT_MAXREDIRS, 20L);
  curl().easy_setopt(easy.get(), CURLOPT_ACCEPT_ENCODING, "");  // all that libcurl can decode
  curl().easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);         // there are several threads
  curl().easy_setopt(easy.get(), CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
  if (!trustedCertificates.empty())
    curl().easy_setopt(easy.get(), CURLOPT_CAINFO, trustedCertificates.c_str());
  curl().easy_setopt(easy.get(), CURLOPT_NOPROXY, proxyExceptions().c_str());
  if (const auto proxy = systemProxy(request.url))
    curl().easy_setopt(easy.get(), CURLOPT_PROXY, proxy->c_str());
}

void CurlTransfer::setCallbacks() {
  const curl_write_callback receive = [](char* bytes, std::size_t size, std::size_t count, void* transfer) {
    const bool taken = static_cast<CurlTransfer*>(transfer)->take(bytes, size * count);
    return taken ? size * count : CURL_WRITEFUNC_ERROR;
  };
  const curl_xferinfo_callback progress = [](void* transfer, curl_off_t, curl_off_t received, curl_off_t,
                                             curl_off_t sent) {
    static_cast<CurlTransfer*>(transfer)->note(received, sent);
    return 0;
  };
  curl().easy_setopt(easy.get(), CURLOPT_ERRORBUFFER, reason.data());
  curl().easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, receive);
  curl().easy_setopt(easy.get(), CURLOPT_WRITEDATA, this);
  curl().easy_setopt(easy.get(), CURLOPT_NOPROGRESS, 0L);
  curl().easy_setopt(easy.get(), CURLOPT_XFERINFOFUNCTION, progress);
  curl().easy_setopt(easy.get(), CURLOPT_XFERINFODATA, this);
}

/// An exception must not pass through libcurl.
bool CurlTransfer::take(const char* bytes, std::size_t count) {
  try {
    body.append(bytes, count);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// libcurl calls this about once a second, also when nothing has moved.
void CurlTransfer::note(std::int64_t received, std::int64_t sent) {
  const std::pair now(received, sent);
  if (now == moved) return;
  moved = now;
  lastActivity = std::chrono::steady_clock::now();
}

}  // namespace ferrin::providertest
