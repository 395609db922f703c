// A model of the list of TCP sockets that sysctl(3) has on macOS, from that of proc(5). Of processes only
// those that listen are in it.

#include <libproc.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "tests/support/SocketRecords.h"

namespace {

namespace ip = boost::asio::ip;

/// An address in words as they lie in memory, and a port.
ip::tcp::endpoint endOf(const char* text) {
  std::array<unsigned, 4> words{};
  unsigned port = 0;
  if (std::sscanf(text, "%8x:%x", words.data(), &port) == 2)
    return {ip::address_v4(std::bit_cast<ip::address_v4::bytes_type>(words[0])),
            static_cast<std::uint16_t>(port)};
  std::sscanf(text, "%8x%8x%8x%8x:%x", &words[0], &words[1], &words[2], &words[3], &port);
  return {ip::address_v6(std::bit_cast<ip::address_v6::bytes_type>(words)), static_cast<std::uint16_t>(port)};
}

/// The process that has this socket open, as far as this user may see.
pid_t holderOf(unsigned inode) {
  const std::string link = "socket:[" + std::to_string(inode) + "]";
  std::error_code ignored;
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    for (const auto& open : std::filesystem::directory_iterator(process.path() / "fd", ignored)) {
      if (std::filesystem::read_symlink(open.path(), ignored) == link)
        return std::atoi(process.path().filename().c_str());
    }
  }
  return 0;
}

std::string list() {
  ferrin::proxy::SocketList listed;
  for (const char* file : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
      std::array<char, 40> local{}, foreign{};
      unsigned owner = 0, inode = 0;
      if (std::sscanf(line.c_str(), "%*s %39s %39s %*s %*s %*s %*s %u %*s %u", local.data(), foreign.data(),
                      &owner, &inode) == 4) {
        const ip::tcp::endpoint far = endOf(foreign.data());
        listed.push_back(
            {endOf(local.data()), far, owner, far.port() == 0 ? holderOf(inode) : 0, inode != 0});
      }
    }
  }
  return ferrin::tests::bytesOf(listed);
}

}  // namespace

int proc_name(int process, void* into, std::uint32_t size) {
  std::ifstream name("/proc/" + std::to_string(process) + "/comm");
  name.getline(static_cast<char*>(into), size);
  return static_cast<int>(std::max<std::streamsize>(name.gcount() - 1, 0));
}

int sysctlbyname(const char* name, void* into, size_t* size, void*, size_t) {
  if (std::strcmp(name, "net.inet.tcp.pcblist_n") != 0) return errno = ENOENT, -1;
  const std::string bytes = list();
  const size_t room = std::exchange(*size, bytes.size());
  if (into == nullptr) return 0;
  if (room < bytes.size()) return errno = ENOMEM, -1;
  std::memcpy(into, bytes.data(), bytes.size());
  return 0;
}
