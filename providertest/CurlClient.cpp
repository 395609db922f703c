#include "providertest/CurlClient.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "providertest/Curl.h"
#include "providertest/CurlTransfer.h"
#include "providertest/RequestCheck.h"

namespace ferrin::providertest {
namespace {

using Clock = std::chrono::steady_clock;

struct FreeMulti {
  void operator()(CURLM* multi) const { curl().multi_cleanup(multi); }
};

/// Once per process, as libcurl requires.
void setUpLibrary() {
  static const CURLcode outcome = curl().global_init(CURL_GLOBAL_DEFAULT);
  if (outcome != CURLE_OK) throw std::runtime_error(std::string("libcurl: ") + curl().easy_strerror(outcome));
}

}  // namespace

/// The thread and its data. Other threads only add requests.
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
    curl().multi_wakeup(multi.get());
    thread.join();
  }

  void add(std::unique_ptr<CurlTransfer> transfer) {
    {
      const std::lock_guard lock(mutex);
      incoming.push_back(std::move(transfer));
    }
    curl().multi_wakeup(multi.get());
  }

 private:
  using Transfers = std::vector<std::unique_ptr<CurlTransfer>>;

  void work() {
    while (startIncoming()) {
      int stillRunning = 0;
      curl().multi_perform(multi.get(), &stillRunning);
      finishDone();
      giveUpIdle();
      curl().multi_poll(multi.get(), nullptr, 0, millisecondsToNextDeadline(), nullptr);
    }
    for (const auto& transfer : running) {
      curl().easy_setopt(transfer->handle(), CURLOPT_QUICK_EXIT, 1L);  // don't wait for a name look-up
      curl().multi_remove_handle(multi.get(), transfer->handle());
    }
    running.clear();
  }

  /// False when the thread is to end.
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

  void start(std::unique_ptr<CurlTransfer> transfer) {
    if (auto refusal = reasonToRefuse(transfer->sentRequest())) return transfer->fail(*std::move(refusal));
    transfer->prepare(trustedCertificates);
    if (transfer->handle() == nullptr ||
        curl().multi_add_handle(multi.get(), transfer->handle()) != CURLM_OK) {
      return transfer->fail("out of memory");
    }
    running.push_back(std::move(transfer));
  }

  void finishDone() {
    int left = 0;
    while (const CURLMsg* message = curl().multi_info_read(multi.get(), &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      const CURLcode outcome = message->data.result;
      take(message->easy_handle)->finish(outcome);
    }
  }

  /// By hand, because libcurl's own time-outs count the whole request or a transfer rate.
  void giveUpIdle() {
    const auto now = Clock::now();
    for (;;) {
      const auto idle = std::find_if(running.begin(), running.end(),
                                     [now](const auto& transfer) { return transfer->deadline() <= now; });
      if (idle == running.end()) return;
      take((*idle)->handle())->fail("the request timed out");
    }
  }

  /// Removes the transfer from libcurl and from `running`.
  std::unique_ptr<CurlTransfer> take(CURL* easy) {
    const auto found = std::find_if(running.begin(), running.end(),
                                    [easy](const auto& transfer) { return transfer->handle() == easy; });
    auto transfer = std::move(*found);
    running.erase(found);
    curl().multi_remove_handle(multi.get(), easy);
    return transfer;
  }

  int millisecondsToNextDeadline() const {
    auto next = Clock::now() + std::chrono::hours(1);
    for (const auto& transfer : running) next = std::min(next, transfer->deadline());
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
  }

  const std::string trustedCertificates;
  std::unique_ptr<CURLM, FreeMulti> multi{curl().multi_init()};
  Transfers running;
  std::mutex mutex;
  Transfers incoming;     // guarded by mutex
  bool stopping = false;  // guarded by mutex
  std::thread thread;
};

CurlClient::CurlClient(std::filesystem::path trustedCertificates)
    : certificates(std::move(trustedCertificates)) {}

CurlClient::~CurlClient() = default;

/// Throws std::runtime_error when libcurl can't be set up, std::system_error when there is no thread.
CurlClient::Worker& CurlClient::startedWorker() {
  std::call_once(started, [this] {
    setUpLibrary();
    worker = std::make_unique<Worker>(certificates.string());
  });
  return *worker;
}

void CurlClient::send(HttpRequest request, Completion completion) {
  auto transfer = std::make_unique<CurlTransfer>(std::move(request), std::move(completion));
  try {
    Worker& ready = startedWorker();
    ready.add(std::move(transfer));
  } catch (const std::exception& error) {
    if (transfer) transfer->fail(error.what());
  }
}

}  // namespace ferrin::providertest
