#include "proxy/AccessLog.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace ferrin::proxy {
namespace {

constexpr std::size_t maxPathBytes = 512;

std::string_view nameOf(Ending ending) {
  constexpr std::array<std::string_view, 4> names{"complete", "truncated", "client-gone", "refused"};
  return names.at(static_cast<std::size_t>(ending));
}

std::string_view nameOf(UpstreamUse use) {
  constexpr std::array<std::string_view, 3> names{"none", "new", "reused"};
  return names.at(static_cast<std::size_t>(use));
}

void appendPrintable(std::string& out, std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (const char byte : text.substr(0, maxPathBytes)) {
    const auto value = static_cast<unsigned char>(byte);
    if (value > 0x20 && value < 0x7F) {
      out.push_back(byte);
    } else {
      out.append("\\x").append({digits[value >> 4U], digits[value & 15U]});
    }
  }
}

}  // namespace

std::string timestamp(std::chrono::system_clock::time_point when) {
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(when.time_since_epoch());
  const auto seconds = std::chrono::floor<std::chrono::seconds>(milliseconds);
  const std::time_t time = seconds.count();
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  const auto rest = static_cast<int>((milliseconds - seconds).count());
  std::snprintf(text.data() + length, text.size() - length, ".%03dZ", rest);
  return text.data();
}

std::string formatted(const ExchangeRecord& record) {
  std::string line;
  line.reserve(192);
  appendPrintable(line, record.method);
  line.push_back(' ');
  appendPrintable(line, record.path);
  line.append(" ").append(std::to_string(record.status));
  line.append(" in=").append(std::to_string(record.bytesIn));
  line.append(" out=").append(std::to_string(record.bytesOut));
  line.append(" first=").append(record.first ? std::to_string(record.first->count()) + "ms" : "-");
  line.append(" total=").append(std::to_string(record.total.count())).append("ms");
  line.append(" upstream=").append(nameOf(record.upstream));
  line.append(" end=").append(nameOf(record.ending));
  if (!record.cause.empty()) line.append(" cause=\"").append(record.cause).append("\"");
  return line;
}

void AccessLog::announce(std::string_view line) {
  flush();
  file.write(std::string(line) + '\n');
}

void AccessLog::add(std::string_view text) {
  loop.soon(*this);
  pending.append(timestamp(std::chrono::system_clock::now())).append(" ").append(text).append("\n");
}

void AccessLog::flush() {
  if (!pending.empty()) file.write(pending);
  pending.clear();
}

}  // namespace ferrin::proxy
