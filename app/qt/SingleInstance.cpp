#include "app/qt/SingleInstance.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

#include "app/qt/PeerUser.h"

namespace ferrin::qt {
namespace {

using namespace std::chrono_literals;
using core::FileDescriptor;
using Clock = std::chrono::steady_clock;

/// For an answer: the other process may be in an action that blocks its main thread.
constexpr auto answerTimeout = 15s;
constexpr auto retryInterval = 20ms;
constexpr timeval messageTimeout{.tv_sec = 1, .tv_usec = 0};
constexpr std::size_t maxMessageBytes = 4096;

[[noreturn]] void fail(int error, const std::filesystem::path& file) {
  throw std::system_error(error, std::generic_category(), file.string());
}

void makePrivateFolder(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder.parent_path());
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) core::throwErrno(folder);
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0) core::throwErrno(folder);
  if (!S_ISDIR(status.st_mode)) fail(ENOTDIR, folder);
  // In a folder that others can change, the socket could be theirs.
  if (status.st_uid != getuid() || (status.st_mode & 077) != 0) fail(EPERM, folder);
}

sockaddr_un addressOf(const std::filesystem::path& file) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string& path = file.native();
  if (path.size() >= sizeof address.sun_path) fail(ENAMETOOLONG, file);
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

FileDescriptor localSocket() {
  FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM, 0));
  if (!descriptor.valid()) core::throwErrno("socket");
  fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC);
  return descriptor;
}

bool isOurs(int socket) { return peerUser(socket) == getuid(); }

/// The lock, or none when another process holds it.
FileDescriptor lockFile(const std::filesystem::path& file) {
  FileDescriptor descriptor(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!descriptor.valid()) core::throwErrno(file);
  if (flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0) return descriptor;
  if (errno != EWOULDBLOCK) core::throwErrno(file);
  return FileDescriptor();
}

/// To be called with the lock held: removes the socket of a process that has ended.
FileDescriptor listenAt(const std::filesystem::path& file) {
  const sockaddr_un address = addressOf(file);
  FileDescriptor descriptor = localSocket();
  unlink(file.c_str());
  if (bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(descriptor.get(), 16) != 0) {
    core::throwErrno(file);
  }
  fcntl(descriptor.get(), F_SETFL, O_NONBLOCK);  // accept() must not block when a caller has left
  return descriptor;
}

/// Sends `message` to the process that listens there; true when it confirms before `deadline`.
bool ask(const std::filesystem::path& file, const std::string& message, Clock::time_point deadline) {
  const sockaddr_un address = addressOf(file);
  const FileDescriptor descriptor = localSocket();
  if (connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    return false;
  if (!isOurs(descriptor.get())) fail(EPERM, file);
  send(descriptor.get(), message.data(), message.size(), MSG_NOSIGNAL);
  shutdown(descriptor.get(), SHUT_WR);
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  pollfd answer{descriptor.get(), POLLIN, 0};
  char byte = 0;
  return poll(&answer, 1, std::max(0, static_cast<int>(left.count()))) == 1 &&
         read(descriptor.get(), &byte, 1) == 1;
}

/// The message up to its end, or what has arrived of it in time: a stalled peer must not block the main
/// thread.
std::string messageFrom(int socket) {
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &messageTimeout, sizeof messageTimeout);
  std::string message(maxMessageBytes, '\0');
  const ssize_t length = recv(socket, message.data(), message.size(), MSG_WAITALL);
  message.resize(static_cast<std::size_t>(std::max<ssize_t>(0, length)));
  return message;
}

}  // namespace

std::optional<SingleInstance> SingleInstance::take(const std::filesystem::path& folder,
                                                   const std::string& message) {
  makePrivateFolder(folder);
  const auto deadline = Clock::now() + answerTimeout;
  // The holder may not listen yet, or may be about to end: try both in turn.
  for (;;) {
    FileDescriptor lock = lockFile(folder / "lock");
    if (lock.valid()) return SingleInstance(std::move(lock), listenAt(folder / "socket"));
    if (ask(folder / "socket", message, deadline)) return std::nullopt;
    if (Clock::now() > deadline) fail(ETIMEDOUT, folder / "socket");
    std::this_thread::sleep_for(retryInterval);
  }
}

SingleInstance::SingleInstance(FileDescriptor held, FileDescriptor listening)
    : lock(std::move(held)), listener(std::move(listening)) {}

void SingleInstance::answer(const std::function<void(const std::string&)>& comeForward) const {
  const FileDescriptor caller(accept(listener.get(), nullptr, nullptr));
  if (!caller.valid()) return;
  fcntl(caller.get(), F_SETFD, FD_CLOEXEC);
  if (!isOurs(caller.get())) return;
  comeForward(messageFrom(caller.get()));
  send(caller.get(), "1", 1, MSG_NOSIGNAL);
}

std::filesystem::path instanceFolder(const std::filesystem::path& home) {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime == '/') return std::filesystem::path(runtime) / "ferrin-relay";
  return home / ".cache" / "ferrin-relay";
}

}  // namespace ferrin::qt
