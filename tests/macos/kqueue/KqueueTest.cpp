// The rules of kqueue(2) that the model keeps, and that epoll(7) has otherwise.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/event.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <functional>
#include <sstream>

#include "proxy/system/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin {
namespace {

using proxy::FileDescriptor;
using tests::put;

struct Kqueue : testing::Test {
  Kqueue() {
    const FileDescriptor listener(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{
        .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    bind(listener.get(), any, size);
    listen(listener.get(), 1);
    getsockname(listener.get(), any, &size);
    near.reset(socket(AF_INET, SOCK_STREAM, 0));
    connect(near.get(), any, size);
    far.reset(accept(listener.get(), nullptr, nullptr));
  }

  int add(int ident, int filter, int flags = EV_CLEAR, unsigned fflags = 0) const {
    return change(ident, filter, EV_ADD | flags, fflags);
  }
  int change(int ident, int filter, int flags, unsigned fflags) const {
    struct kevent made {};
    EV_SET(&made, static_cast<uintptr_t>(ident), static_cast<int16_t>(filter), static_cast<uint16_t>(flags),
           fflags, 0, nullptr);
    return kevent(queue.get(), &made, 1, nullptr, 0, nullptr);
  }
  /// Each event as its filter, "!" for EV_EOF and its fflags.
  std::string events(long milliseconds = 0) const {
    std::array<struct kevent, 8> found{};
    const timespec limit{0, milliseconds * 1'000'000};
    const int count = kevent(queue.get(), nullptr, 0, found.data(), found.size(), &limit);
    std::ostringstream told;
    for (int at = 0; at < count; ++at) {
      const auto& event = found[static_cast<std::size_t>(at)];
      told << (at == 0 ? "" : " ")
           << (event.filter == EVFILT_READ    ? "read"
               : event.filter == EVFILT_WRITE ? "write"
               : event.filter == EVFILT_USER  ? "user"
                                              : "file");
      told << ((event.flags & EV_EOF) != 0 ? "!" : "");
      if (event.fflags != 0) told << std::hex << event.fflags;
    }
    return told.str();
  }
  void say(const FileDescriptor& end) const { EXPECT_EQ(send(end.get(), "x", 1, 0), 1); }

  FileDescriptor queue{kqueue()}, near, far;
};

TEST_F(Kqueue, reportsAChangeOnceAndNotTheStateAgain) {
  add(near.get(), EVFILT_READ);
  EXPECT_EQ(events(), "");
  for (const char* more : {"something comes", "and more, although none was read"}) {
    say(far);
    EXPECT_EQ(events(), "read") << more;
    EXPECT_EQ(events(), "") << more;
  }
  add(near.get(), EVFILT_READ);
  EXPECT_EQ(events(), "read") << "registering again begins with the state";
  add(0, EVFILT_USER);
  for (int twice = 0; twice < 2; ++twice) change(0, EVFILT_USER, 0, NOTE_TRIGGER);
  EXPECT_EQ(events(1000), "user");
  EXPECT_EQ(events(), "");
}

TEST_F(Kqueue, reportsTheEndWhileBytesWaitAndLeavesTheErrorInItsPlace) {
  add(near.get(), EVFILT_READ);
  say(far);
  shutdown(far.get(), SHUT_WR);
  EXPECT_EQ(events(), "read!");
  add(near.get(), EVFILT_WRITE);
  EXPECT_EQ(events(), "write");
  const linger abort{1, 0};
  setsockopt(far.get(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  far.reset();
  EXPECT_EQ(events(), "write!68 read!68");
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(near.get(), SOL_SOCKET, SO_ERROR, &error, &size);
  EXPECT_EQ(error, EPIPE);
}

TEST_F(Kqueue, reportsRoomWithEachAcknowledgement) {
  add(near.get(), EVFILT_WRITE);
  EXPECT_EQ(events(), "write");
  for (int time = 0; time < 3; ++time) {
    say(near);
    EXPECT_EQ(events(900), "write") << time;
    EXPECT_EQ(events(), "") << time;
  }
}

TEST_F(Kqueue, forgetsWhatIsClosedAlthoughItIsOpenElsewhereAndItsNumberIsTakenAgain) {
  add(near.get(), EVFILT_READ);
  say(far);
  const int number = near.get();
  const FileDescriptor other(dup(number));
  near.reset();
  EXPECT_EQ(events(), "");
  near.reset(dup(other.get()));
  ASSERT_EQ(near.get(), number);
  EXPECT_EQ(events(), "");
  add(number, EVFILT_READ);
  EXPECT_EQ(events(), "read");
}

TEST_F(Kqueue, reportsWhatHappensToAnOpenFile) {
  const tests::TemporaryFolder folder;
  const auto path = folder / "file", moved = folder / "moved";
  put(path, "content");
  const FileDescriptor file(open(path.c_str(), O_RDONLY)), above(open(folder.path().c_str(), O_RDONLY));
  const unsigned all = NOTE_DELETE | NOTE_WRITE | NOTE_EXTEND | NOTE_ATTRIB | NOTE_RENAME;
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"file8", [&] { chmod(path.c_str(), 0400); }},
      {"file6", [&] { std::filesystem::resize_file(path, 100); }},
      {"file2", [&] { std::filesystem::resize_file(path, 10); }},
      {"file2 file20", [&] { std::filesystem::rename(path, moved); }},
      {"file2", [&] { put(path, "another of its name"); }},
      {"file2 file1", [&] { std::filesystem::rename(path, moved); }},
  };
  for (const int descriptor : {above.get(), file.get()}) add(descriptor, EVFILT_VNODE, EV_CLEAR, all);
  for (const auto& [expected, happen] : rows) {
    happen();
    EXPECT_EQ(events(), expected);
  }
  add(above.get(), EVFILT_VNODE, EV_ONESHOT, NOTE_WRITE);
  put(path, "");
  EXPECT_EQ(events(), "file2");
  put(moved, "");
  EXPECT_EQ(events(), "");
}

}  // namespace
}  // namespace ferrin
