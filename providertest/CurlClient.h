#pragma once
// The HTTP client that the application uses, on a thread of its own.

#include <filesystem>
#include <memory>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Speaks http and https alone, through the system's proxies, and trusts what the system trusts. Redirects
/// are followed, up to 20, as browsers do: the POST stays one after 307 and 308 and becomes a GET without its
/// body after the others. An Authorization header goes to the first host, port and scheme only. Answers may
/// be of any size; compressed ones are unpacked. Requests don't wait for each other.
class CurlClient : public HttpClient {
 public:
  /// `trustedCertificates` is a PEM file to trust in place of the system's store. Throws std::runtime_error
  /// when libcurl can't be set up.
  explicit CurlClient(const std::filesystem::path& trustedCertificates = {});
  CurlClient(const CurlClient&) = delete;
  CurlClient& operator=(const CurlClient&) = delete;
  /// Drops the requests that are under way.
  ~CurlClient() override;

  void send(HttpRequest request, Completion completion) override;

 private:
  class Worker;
  std::unique_ptr<Worker> worker;
};

}  // namespace ferrin::providertest
