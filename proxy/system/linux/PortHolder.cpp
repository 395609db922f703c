#include "proxy/system/PortHolder.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace ferrin::proxy {
namespace {

namespace fs = std::filesystem;

/// The inode of the listening socket in the kernel's table (proc(5), /proc/net/tcp), or empty.
std::string inodeOfListener(const fs::path& table, std::uint16_t port) {
  constexpr std::string_view listening = "0A";
  std::ifstream lines(table);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string slot, local, remote, state, queues, timer, retransmits, user, timeout, inode;
    words >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> user >> timeout >> inode;
    const std::size_t colon = local.rfind(':');
    if (state != listening || colon == std::string::npos) continue;
    if (std::stoul(local.substr(colon + 1), nullptr, 16) == port) return inode;
  }
  return "";
}

bool holdsSocket(const fs::path& process, const std::string& link) {
  std::error_code ignored;
  for (fs::directory_iterator entry(process / "fd", ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    std::error_code unreadable;
    if (fs::read_symlink(entry->path(), unreadable) == link) return true;
  }
  return false;
}

std::string nameOf(const fs::path& process) {
  std::string name;
  std::ifstream stream(process / "comm");
  std::getline(stream, name);
  return name;
}

}  // namespace

std::string holderOfPort(std::uint16_t port) {
  std::string inode = inodeOfListener("/proc/net/tcp", port);
  if (inode.empty()) inode = inodeOfListener("/proc/net/tcp6", port);
  if (inode.empty()) return "";
  std::error_code ignored;
  for (fs::directory_iterator entry("/proc", ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    const std::string process = entry->path().filename();
    if (process.find_first_not_of("0123456789") != std::string::npos) continue;
    if (holdsSocket(entry->path(), "socket:[" + inode + "]")) {
      return nameOf(entry->path()) + " (process " + process + ")";
    }
  }
  return "";
}

}  // namespace ferrin::proxy
