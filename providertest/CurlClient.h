#pragma once
// The application's HTTP client: libcurl on a thread of its own.

#include <filesystem>
#include <memory>
#include <mutex>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Speaks http and https only, uses the system's proxies, though none for this machine itself, and trusts the
/// certificates that the system trusts.
/// Follows up to 20 redirects as browsers do: a POST stays a POST after 307 and 308, and becomes a GET
/// without a body after the others. Sends an Authorization header to the first host, port and scheme only.
/// Answers may be of any size and compressed. Requests run at the same time.
class CurlClient : public HttpClient {
 public:
  /// `trustedCertificates` is a PEM file that replaces the system's store.
  explicit CurlClient(std::filesystem::path trustedCertificates = {});
  CurlClient(const CurlClient&) = delete;
  CurlClient& operator=(const CurlClient&) = delete;
  /// Aborts the requests under way, without calling their completions; waits for a completion that runs. Not
  /// to be called from a completion.
  ~CurlClient() override;

  /// The first request loads libcurl and starts the thread. Where that fails, the completion is called before
  /// this returns, with the reason.
  void send(HttpRequest request, Completion completion) override;

 private:
  class Worker;

  Worker& startedWorker();

  const std::filesystem::path certificates;
  std::once_flag started;
  std::unique_ptr<Worker> worker;
};

}  // namespace ferrin::providertest
