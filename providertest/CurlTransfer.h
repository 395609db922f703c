#pragma once
// One request on its way through libcurl.

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Stays where it was made, as libcurl holds its address, and on one thread. Whoever performs the request
/// calls finish or fail, once.
class CurlTransfer {
 public:
  CurlTransfer(HttpRequest sent, HttpClient::Completion whenDone);
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;
  ~CurlTransfer();

  /// Makes the handle. The time until the deadline begins.
  void prepare(const std::string& trustedCertificates);

  /// libcurl's easy handle; null before prepare, and where there was no memory for one.
  void* handle() const { return easy.get(); }
  const HttpRequest& sentRequest() const { return request; }
  /// When the request is to be given up, unless something happens before.
  std::chrono::steady_clock::time_point deadline() const { return lastActivity + request.timeout; }

  /// `outcome` is libcurl's code.
  void finish(int outcome);
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
  /// False without the memory for it.
  bool take(const char* bytes, std::size_t count);
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
