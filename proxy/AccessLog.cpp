#include "proxy/AccessLog.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <new>

namespace ferrin::proxy {
namespace {

constexpr std::size_t maxPathBytes = 512;
constexpr std::size_t enoughBytes = 4096;  // to be worth a write

std::string_view nameOf(Ending ending) {
  constexpr std::array<std::string_view, 5> names{"complete", "truncated", "client-gone", "refused",
                                                  "stopped"};
  return names.at(static_cast<std::size_t>(ending));
}

std::string_view nameOf(UpstreamUse use) {
  constexpr std::array<std::string_view, 3> names{"none", "new", "reused"};
  return names.at(static_cast<std::size_t>(use));
}

template <typename Number>
void appendNumber(std::string& out, Number number) {
  std::array<char, 24> digits;
  out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

void appendPrintable(std::string& out, std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const auto plain = [](char byte) { return byte > 0x20 && byte < 0x7F; };
  text = text.substr(0, maxPathBytes);
  while (!text.empty()) {
    const auto* const odd = std::find_if_not(text.begin(), text.end(), plain);
    out.append(text.begin(), odd);
    text.remove_prefix(static_cast<std::size_t>(odd - text.begin()));
    if (text.empty()) break;
    const auto value = static_cast<unsigned char>(text.front());
    out.append("\\x").append({digits[value >> 4U], digits[value & 15U]});
    text.remove_prefix(1);
  }
}

}  // namespace

void TimeStamps::append(std::string& out, std::chrono::system_clock::time_point when) {
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(when);
  const auto current = std::chrono::floor<std::chrono::seconds>(milliseconds);
  if (current != second) {
    const std::time_t time = std::chrono::system_clock::to_time_t(current);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    date.assign(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts));
    second = current;
  }
  const auto rest = static_cast<unsigned>((milliseconds - current).count());
  const auto digit = [](unsigned value) { return static_cast<char>('0' + value % 10); };
  out.append(date).append({'.', digit(rest / 100), digit(rest / 10), digit(rest), 'Z'});
}

void append(std::string& out, const ExchangeRecord& record) {
  appendPrintable(out, record.method);
  out.push_back(' ');
  appendPrintable(out, record.path);
  appendNumber(out.append(" "), record.status);
  appendNumber(out.append(" in="), record.bytesIn);
  appendNumber(out.append(" out="), record.bytesOut);
  out.append(" first=");
  if (record.first) {
    appendNumber(out, record.first->count());
    out.append("ms");
  } else {
    out.append("-");
  }
  appendNumber(out.append(" total="), record.total.count());
  out.append("ms upstream=").append(nameOf(record.upstream));
  if (!record.via.empty()) out.append(" via=").append(record.via);
  out.append(" end=").append(nameOf(record.ending));
  if (!record.cause.empty()) out.append(" cause=\"").append(record.cause).append("\"");
}

AccessLog::AccessLog(EventLoop& home, TimerQueue& lineDelay, int descriptor)
    : loop(home), delay(lineDelay), due([this] { flush(); }), file(descriptor) {
  pending.reserve(2 * enoughBytes);
}

void AccessLog::announce(std::string_view line) {
  flush();
  file.write(std::string(line) + '\n');
}

void AccessLog::exchange(const ExchangeRecord& record) noexcept {
  addLine([this, &record] { append(pending, record); });
  if (pending.size() >= enoughBytes) {
    loop.defer(*this);
  } else if (!due.running()) {
    due.start(delay);
  }
}

void AccessLog::note(std::string_view text) noexcept {
  addLine([this, text] { pending.append(text); });
  loop.defer(*this);
}

/// Adds a line that begins with the time and goes on with what `append` appends: the whole of it or nothing.
template <typename Append>
void AccessLog::addLine(Append append) noexcept {
  const std::size_t before = pending.size();
  try {
    stamps.append(pending, std::chrono::system_clock::now());
    pending.push_back(' ');
    append();
    pending.push_back('\n');
  } catch (const std::bad_alloc&) {
    pending.resize(before);
  }
}

void AccessLog::flush() noexcept {
  due.stop();
  if (!pending.empty()) file.write(pending);
  pending.clear();
}

}  // namespace ferrin::proxy
