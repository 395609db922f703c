#pragma once
// One request in libcurl, from its start to its completion.

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Never moves: libcurl keeps its address. All calls but the constructor are on one thread. Whoever performs
/// the request calls `finish` or `fail`, exactly one of them and once.
class CurlTransfer {
 public:
  CurlTransfer(HttpRequest sent, HttpClient::Completion whenDone);
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;
  ~CurlTransfer();

  /// Makes libcurl's handle and starts the deadline.
  void prepare(const std::string& trustedCertificates);

  /// libcurl's easy handle; null before `prepare`, and when there was no memory for one.
  void* handle() const { return easy.get(); }
  const HttpRequest& sentRequest() const { return request; }
  /// The request times out then, unless bytes are sent or received before.
  std::chrono::steady_clock::time_point deadline() const { return lastActivity + request.timeout; }

  /// Calls the completion: with the answer, or with the reason when `outcome`, a CURLcode, is an error.
  void finish(int outcome);
  /// Calls the completion with an error.
  void fail(std::string why);

 private:
  struct FreeEasy {
    void operator()(void* handle) const;
  };
  struct FreeHeaders {
    void operator()(void* list) const;
  };

  void setRequest();
  void setHeaders();
  void setRules(const std::string& trustedCertificates);
  void setCallbacks();
  /// Appends to the body; false when there is no memory.
  bool take(const char* bytes, std::size_t count);
  /// Moves the deadline when the counts of bytes have changed.
  void note(std::int64_t received, std::int64_t sent);

  HttpRequest request;
  HttpClient::Completion completion;
  std::string body;
  std::array<char, 256> reason{};
  std::pair<std::int64_t, std::int64_t> moved{0, 0};
  std::chrono::steady_clock::time_point lastActivity;
  std::unique_ptr<void, FreeHeaders> headers;
  std::unique_ptr<void, FreeEasy> easy;
};

}  // namespace ferrin::providertest
