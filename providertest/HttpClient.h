#pragma once
// The one thing that the application asks of the web: a POST request and its answer.

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ferrin::providertest {

struct HttpHeader {
  std::string name;
  std::string value;

  bool operator==(const HttpHeader&) const = default;
};

/// Always a POST.
struct HttpRequest {
  std::string url;
  std::vector<HttpHeader> headers;
  std::string body;
  /// How long nothing at all may happen, connecting included, before the request is given up. A slow answer
  /// that keeps coming is waited for.
  std::chrono::milliseconds timeout = std::chrono::seconds(60);
};

/// How a request ended: with an answer, or with an error and nothing else.
struct HttpResult {
  /// Why there is no answer, for a person to read.
  std::optional<std::string> error;
  /// The answer's status; nothing when it didn't come by HTTP.
  std::optional<int> status;
  std::string body;
};

class HttpClient {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpClient() = default;

  /// Returns at once. `completion` is called once, on a thread of the client's own, unless the client goes
  /// before: then its destructor waits for a completion that is under way, and calls no other.
  virtual void send(HttpRequest request, Completion completion) = 0;
};

}  // namespace ferrin::providertest
