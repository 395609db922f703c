#pragma once
// The application's HTTP client: libcurl on a thread of its own.

#include <filesystem>
#include <memory>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Speaks http and https only, uses the system's proxies, though none for this machine itself, and trusts the
/// certificates that the system trusts.
/// Follows up to 20 redirects as browsers do: a POST stays a POST after 307 and 308, and becomes a GET
/// without a body after the others. Sends an Authorization header to the first host, port and scheme only.
/// Answers may be of any size and compressed. Requests run at the same time.
class CurlClient : public HttpClient {
 public:
  /// `trustedCertificates` is a PEM file that replaces the system's store. Throws std::runtime_error when
  /// libcurl can't be set up, std::system_error when the thread can't be started.
  explicit CurlClient(const std::filesystem::path& trustedCertificates = {});
  CurlClient(const CurlClient&) = delete;
  CurlClient& operator=(const CurlClient&) = delete;
  /// Aborts the requests under way, without calling their completions; waits for a completion that runs. Not
  /// to be called from a completion.
  ~CurlClient() override;

  void send(HttpRequest request, Completion completion) override;

 private:
  class Worker;
  std::unique_ptr<Worker> worker;
};

}  // namespace ferrin::providertest
