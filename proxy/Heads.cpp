#include "proxy/Heads.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>

namespace ferrin::proxy {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using Code = beast::error_code;

constexpr std::size_t usualFields = 24;  // what hardly any head exceeds

std::string_view standard(beast::string_view text) { return {text.data(), text.size()}; }

/// Collects a head in a Head; bodies never reach it.
template <bool isRequest, typename Into>
class HeadParser : public http::basic_parser<isRequest> {
 public:
  explicit HeadParser(Into& collected) : into(collected) {
    this->header_limit(maxHeadBytes + 1);
    this->body_limit(boost::none);
  }

 private:
  void on_request_impl(http::verb, beast::string_view method, beast::string_view target, int version,
                       Code&) override {
    if constexpr (isRequest) {
      into.method = standard(method);
      into.target = standard(target);
    }
    into.version = version;
  }
  void on_response_impl(int status, beast::string_view reason, int version, Code&) override {
    if constexpr (!isRequest) {
      into.status = status;
      into.reason = standard(reason);
    }
    into.version = version;
  }
  void on_field_impl(http::field id, beast::string_view name, beast::string_view value, Code&) override {
    into.fields.push_back({id, standard(name), standard(value)});
  }
  void on_header_impl(Code&) override {}
  void on_body_init_impl(const boost::optional<std::uint64_t>&, Code&) override {}
  std::size_t on_body_impl(beast::string_view body, Code&) override { return body.size(); }
  void on_chunk_header_impl(std::uint64_t, beast::string_view, Code&) override {}
  std::size_t on_chunk_body_impl(std::uint64_t, beast::string_view body, Code&) override {
    return body.size();
  }
  void on_finish_impl(Code&) override {}

  Into& into;
};

bool hasFoldedLine(std::string_view head) {
  return head.find("\r\n ") != std::string_view::npos || head.find("\r\n\t") != std::string_view::npos;
}

/// Whether the head says in one way only how long its body is.
bool framingIsPlain(const Head& head) {
  const std::size_t codings = head.count(http::field::transfer_encoding);
  if (codings == 0) return !head.chunked;
  return codings == 1 && head.version == 11 && !head.contentLength &&
         sameIgnoringCase(*head.value(http::field::transfer_encoding), "chunked");
}

template <bool isRequest, typename Into>
bool parse(std::string_view head, Into& into) {
  if (hasFoldedLine(head)) return false;
  into.fields.clear();
  into.fields.reserve(usualFields);
  HeadParser<isRequest, Into> parser(into);
  Code error;
  parser.put(boost::asio::buffer(head.data(), head.size()), error);
  if (error || !parser.is_header_done()) return false;
  into.chunked = parser.chunked();
  into.contentLength.reset();
  if (const auto length = parser.content_length()) into.contentLength = *length;
  return (into.version == 10 || into.version == 11) && framingIsPlain(into);
}

}  // namespace

std::optional<std::string_view> Head::value(http::field id) const {
  for (const HeadField& field : fields) {
    if (field.id == id) return field.value;
  }
  return std::nullopt;
}

std::size_t Head::count(http::field id) const {
  return static_cast<std::size_t>(
      std::count_if(fields.begin(), fields.end(), [id](const HeadField& field) { return field.id == id; }));
}

bool Head::connectionHas(std::string_view token) const {
  bool found = false;
  for (const HeadField& field : fields) {
    if (field.id != http::field::connection) continue;
    eachListMember(field.value,
                   [&](std::string_view member) { found = found || sameIgnoringCase(member, token); });
  }
  return found;
}

std::size_t endOfHead(std::string_view bytes, std::size_t searched) {
  for (std::size_t at = bytes.find('\n', searched); at != std::string_view::npos;
       at = bytes.find('\n', at + 1)) {
    if (at == 0 || bytes[at - 1] != '\r') return malformedHead;
    if (at >= 3 && bytes.substr(at - 3, 2) == "\r\n") return at + 1;
  }
  return 0;
}

bool parseRequestHead(std::string_view head, RequestHead& into) {
  if (!parse<true>(head, into)) return false;
  if (into.method == "CONNECT" || into.target.find('#') != std::string_view::npos) return false;
  const std::size_t hosts = into.count(http::field::host);
  return into.version == 11 ? hosts == 1 : hosts <= 1;
}

bool parseAnswerHead(std::string_view head, AnswerHead& into) {
  if (!parse<false>(head, into) || into.status < 100) return false;
  if (into.status < 200 || into.status == 204) {  // never with a body, whatever they announce
    into.chunked = false;
    into.contentLength.reset();
  }
  return true;
}

/// Beast's own iequals looks at a byte behind the end.
bool sameIgnoringCase(std::string_view one, std::string_view other) {
  const auto lower = [](char byte) { return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte; };
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [lower](char left, char right) { return lower(left) == lower(right); });
}

}  // namespace ferrin::proxy
