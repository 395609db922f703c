#include "providertest/CurlClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "providertest/SystemProxy.h"
#include "providertest/URLComponents.h"

namespace ferrin::providertest {
namespace {

using Clock = std::chrono::steady_clock;

struct FreeEasy {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct FreeMulti {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct FreeList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

void setUpLibrary() {
  static const CURLcode outcome = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (outcome != CURLE_OK) throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(outcome));
}

/// libcurl would take a URL without a scheme for http, and send the key in the clear.
bool isWebURL(std::string_view url) {
  const auto components = parseURL(url);
  if (!components || !components->host || components->host->empty()) return false;
  std::string scheme = components->scheme;
  std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  return scheme == "http" || scheme == "https";
}

/// A line break would begin another header.
bool fitsInHeader(std::string_view value) {
  return std::none_of(value.begin(), value.end(),
                      [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; });
}

/// Why a request is not even tried; nothing for one that can be.
std::optional<std::string> reasonToRefuse(const HttpRequest& request) {
  if (!isWebURL(request.url)) return "unsupported URL";
  for (const HttpHeader& header : request.headers) {
    if (!fitsInHeader(header.value))
      return header.name + ": line breaks and control characters can't be sent";
  }
  return std::nullopt;
}

/// One request on its way. Stays where it was made: libcurl holds its address.
class Transfer {
 public:
  Transfer(HttpRequest sent, HttpClient::Completion whenDone)
      : request(std::move(sent)), completion(std::move(whenDone)) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  /// The handle that performs the request; null without memory for one.
  CURL* prepare(const std::string& trustedCertificates) {
    easy.reset(curl_easy_init());
    if (easy == nullptr) return nullptr;
    setRequest();
    setRules(trustedCertificates);
    setCallbacks();
    lastActivity = Clock::now();
    return easy.get();
  }

  CURL* handle() const { return easy.get(); }
  const HttpRequest& sentRequest() const { return request; }
  Clock::time_point deadline() const { return lastActivity + request.timeout; }

  void finish(CURLcode outcome) {
    if (outcome == CURLE_OK) {
      long status = 0;
      curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
      completion({.error = std::nullopt, .status = static_cast<int>(status), .body = std::move(body)});
    } else {
      fail(reason.front() != '\0' ? reason.data() : curl_easy_strerror(outcome));
    }
  }
  void fail(std::string why) { completion({.error = std::move(why), .status = std::nullopt, .body = {}}); }

 private:
  template <typename Value>
  void set(CURLoption option, Value value) {
    curl_easy_setopt(easy.get(), option, value);
  }

  void setRequest() {
    set(CURLOPT_URL, request.url.c_str());
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDS, request.body.data());
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    curl_slist* lines = curl_slist_append(nullptr, "Expect:");  // no waiting for a leave to send a long body
    for (const HttpHeader& header : request.headers) {
      lines = curl_slist_append(lines, (header.name + ": " + header.value).c_str());
    }
    headers.reset(lines);
    set(CURLOPT_HTTPHEADER, headers.get());
  }

  void setRules(const std::string& trustedCertificates) {
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, 20L);
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
    if (!trustedCertificates.empty()) set(CURLOPT_CAINFO, trustedCertificates.c_str());
    if (const auto proxy = systemProxy(request.url)) set(CURLOPT_PROXY, proxy->c_str());
  }

  void setCallbacks() {
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_ERRORBUFFER, reason.data());
    set(CURLOPT_WRITEFUNCTION, &Transfer::receive);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &Transfer::notice);
    set(CURLOPT_XFERINFODATA, this);
  }

  static std::size_t receive(char* bytes, std::size_t size, std::size_t count, void* transfer) {
    try {
      static_cast<Transfer*>(transfer)->body.append(bytes, size * count);
      return size * count;
    } catch (const std::bad_alloc&) {
      return CURL_WRITEFUNC_ERROR;
    }
  }

  static int notice(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
    auto* self = static_cast<Transfer*>(transfer);
    if (const auto moved = std::pair(received, sent); moved != self->moved) {
      self->moved = moved;
      self->lastActivity = Clock::now();
    }
    return 0;
  }

  HttpRequest request;
  HttpClient::Completion completion;
  std::string body;
  std::array<char, CURL_ERROR_SIZE> reason{};
  std::pair<curl_off_t, curl_off_t> moved{0, 0};
  Clock::time_point lastActivity;
  std::unique_ptr<curl_slist, FreeList> headers;
  std::unique_ptr<CURL, FreeEasy> easy;
};

}  // namespace

/// The thread, and all that only it touches but for the requests that come in.
class CurlClient::Worker {
 public:
  explicit Worker(std::string certificates) : trustedCertificates(std::move(certificates)) {
    if (multi == nullptr) throw std::runtime_error("libcurl: out of memory");
    thread = std::thread([this] { work(); });
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    {
      const std::lock_guard lock(mutex);
      stopping = true;
    }
    curl_multi_wakeup(multi.get());
    thread.join();
  }

  void add(std::unique_ptr<Transfer> transfer) {
    {
      const std::lock_guard lock(mutex);
      incoming.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi.get());
  }

 private:
  using Transfers = std::vector<std::unique_ptr<Transfer>>;

  void work() {
    while (startIncoming()) {
      int stillRunning = 0;
      curl_multi_perform(multi.get(), &stillRunning);
      finishDone();
      giveUpIdle();
      curl_multi_poll(multi.get(), nullptr, 0, millisecondsToNextDeadline(), nullptr);
    }
    for (const auto& transfer : running) {
      curl_easy_setopt(transfer->handle(), CURLOPT_QUICK_EXIT, 1L);  // no waiting for a name look-up
      curl_multi_remove_handle(multi.get(), transfer->handle());
    }
    running.clear();
  }

  /// False when it is time to stop.
  bool startIncoming() {
    Transfers arrived;
    {
      const std::lock_guard lock(mutex);
      if (stopping) return false;
      arrived.swap(incoming);
    }
    for (auto& transfer : arrived) start(std::move(transfer));
    return true;
  }

  void start(std::unique_ptr<Transfer> transfer) {
    if (auto refusal = reasonToRefuse(transfer->sentRequest())) return transfer->fail(*std::move(refusal));
    CURL* easy = transfer->prepare(trustedCertificates);
    if (easy == nullptr || curl_multi_add_handle(multi.get(), easy) != CURLM_OK) {
      return transfer->fail("out of memory");
    }
    running.push_back(std::move(transfer));
  }

  void finishDone() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      const CURLcode outcome = message->data.result;
      take(message->easy_handle)->finish(outcome);
    }
  }

  void giveUpIdle() {
    const auto now = Clock::now();
    for (;;) {
      const auto idle = std::find_if(running.begin(), running.end(),
                                     [now](const auto& transfer) { return transfer->deadline() <= now; });
      if (idle == running.end()) return;
      take((*idle)->handle())->fail("the request timed out");
    }
  }

  std::unique_ptr<Transfer> take(CURL* easy) {
    const auto found = std::find_if(running.begin(), running.end(),
                                    [easy](const auto& transfer) { return transfer->handle() == easy; });
    auto transfer = std::move(*found);
    running.erase(found);
    curl_multi_remove_handle(multi.get(), easy);
    return transfer;
  }

  int millisecondsToNextDeadline() const {
    auto next = Clock::now() + std::chrono::hours(1);
    for (const auto& transfer : running) next = std::min(next, transfer->deadline());
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
  }

  const std::string trustedCertificates;
  std::unique_ptr<CURLM, FreeMulti> multi{curl_multi_init()};
  Transfers running;
  std::mutex mutex;
  Transfers incoming;     // guarded by mutex
  bool stopping = false;  // guarded by mutex
  std::thread thread;
};

CurlClient::CurlClient(const std::filesystem::path& trustedCertificates) {
  setUpLibrary();
  worker = std::make_unique<Worker>(trustedCertificates.string());
}

CurlClient::~CurlClient() = default;

void CurlClient::send(HttpRequest request, Completion completion) {
  worker->add(std::make_unique<Transfer>(std::move(request), std::move(completion)));
}

}  // namespace ferrin::providertest
