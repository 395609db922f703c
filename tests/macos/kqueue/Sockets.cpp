// A model of the list of TCP sockets that sysctl(3) has on macOS, from that of proc(5), without the
// processes. SocketList.h names the sources of the layout.

#include <netinet/in.h>
#include <sys/sysctl.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

namespace {

template <typename T>
void put(std::string& record, std::size_t offset, T value) {
  std::memcpy(record.data() + offset, &value, sizeof value);
}

std::string record(std::uint32_t size, std::uint32_t kind) {
  std::string bytes(size, '\0');
  put(bytes, 0, size);
  put(bytes, 4, kind);
  return bytes;
}

/// `end` is as in proc(5): an address in words, of which IPv4's is the last one here, and a port.
void putEnd(std::string& record, std::string_view end, std::size_t address, std::size_t port) {
  const auto number = [end](std::size_t at, std::size_t size) {
    return std::strtoul(std::string(end.substr(at, size)).c_str(), nullptr, 16);
  };
  const std::size_t colon = end.find(':');
  put(record, port, htons(static_cast<std::uint16_t>(number(colon + 1, 4))));
  for (std::size_t at = 0; at < colon; at += 8)
    put(record, address + 16 - colon / 2 + at / 2, static_cast<std::uint32_t>(number(at, 8)));
}

void append(std::string& list, const char* line) {
  std::array<char, 40> local{}, foreign{};
  unsigned owner = 0, inode = 0;
  if (std::sscanf(line, "%*s %39s %39s %*s %*s %*s %*s %u %*s %u", local.data(), foreign.data(), &owner,
                  &inode) != 4)
    return;
  std::string connection = record(104, 0x10), socket = record(80, 0x01);
  putEnd(connection, foreign.data(), 48, 16);
  putEnd(connection, local.data(), 64, 18);
  put<std::uint8_t>(connection, 44, std::strlen(local.data()) > 13 ? 2 : 1);
  put<std::uint16_t>(socket, 26, inode == 0 ? 0x0001 : 0);
  put(socket, 64, owner);
  list += connection + socket;
}

std::string list() {
  const std::string frame = record(24, 0);
  std::string bytes = frame;
  for (const char* file : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) append(bytes, line.c_str());
  }
  return bytes + frame;
}

}  // namespace

int sysctlbyname(const char* name, void* into, size_t* size, void*, size_t) {
  if (std::strcmp(name, "net.inet.tcp.pcblist_n") != 0) return errno = ENOENT, -1;
  const std::string bytes = list();
  const size_t room = std::exchange(*size, bytes.size());
  if (into == nullptr) return 0;
  if (room < bytes.size()) return errno = ENOMEM, -1;
  std::memcpy(into, bytes.data(), bytes.size());
  return 0;
}
