#pragma once
// A POST request and its answer: all of HTTP that the application uses.

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

/// Always a POST. Header names are valid tokens; header values are checked (RequestCheck.h).
struct HttpRequest {
  std::string url;
  std::vector<HttpHeader> headers;
  std::string body;
  /// The longest time without a byte in either direction, connecting included. A slow answer that keeps
  /// coming does not time out.
  std::chrono::milliseconds timeout = std::chrono::seconds(60);
};

/// The end of a request: an error alone, or an answer.
struct HttpResult {
  /// Why there is no answer, as the user sees it; without key and header values.
  std::optional<std::string> error;
  /// The answer's status code; no value when it has none.
  std::optional<int> status;
  /// Decompressed; any bytes, of any size.
  std::string body;
};

/// The seam between the application and the network. A request is copied: the caller may change or destroy
/// what it was made of. There is no way to cancel one: a completion that is not wanted any more ignores its
/// result.
class HttpClient {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpClient() = default;

  /// Returns at once; safe from any thread. Calls `completion` once, on the client's own thread. It must not
  /// throw or block, and may call `send`, but not destroy the client. Destroying the client waits for a
  /// completion that runs, and the others are never called.
  virtual void send(HttpRequest request, Completion completion) = 0;
};

}  // namespace ferrin::providertest
