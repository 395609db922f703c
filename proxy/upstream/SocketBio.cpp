#include "proxy/upstream/SocketBio.h"

#include <cerrno>

namespace ferrin::proxy {
namespace {

Socket& socketOf(BIO* bio) { return *static_cast<Socket*>(BIO_get_data(bio)); }

/// The library's convention for what did not work (BIO_read(3), BIO_should_retry(3)).
int unmoved(BIO* bio, int flags) {
  if (errno == EAGAIN || errno == EWOULDBLOCK) BIO_set_flags(bio, flags | BIO_FLAGS_SHOULD_RETRY);
  return -1;
}

int readBio(BIO* bio, char* into, int size) {
  BIO_clear_retry_flags(bio);
  const ssize_t count = socketOf(bio).receive({into, static_cast<std::size_t>(size)});
  if (count == 0) BIO_set_flags(bio, BIO_FLAGS_IN_EOF);
  return count < 0 ? unmoved(bio, BIO_FLAGS_READ) : static_cast<int>(count);
}

int writeBio(BIO* bio, const char* bytes, int size) {
  BIO_clear_retry_flags(bio);
  iovec piece{const_cast<char*>(bytes), static_cast<std::size_t>(size)};
  const ssize_t count = socketOf(bio).transmit({&piece, 1});
  return count < 0 ? unmoved(bio, BIO_FLAGS_WRITE) : static_cast<int>(count);
}

long controlBio(BIO* bio, int command, long, void*) {
  if (command == BIO_CTRL_EOF) return BIO_test_flags(bio, BIO_FLAGS_IN_EOF) != 0 ? 1 : 0;
  return command == BIO_CTRL_FLUSH ? 1 : 0;
}

/// For the life of the process.
const BIO_METHOD* methods() {
  static const BIO_METHOD* const made = [] {
    BIO_METHOD* table = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
    BIO_meth_set_read(table, readBio);
    BIO_meth_set_write(table, writeBio);
    BIO_meth_set_ctrl(table, controlBio);
    return table;
  }();
  return made;
}

}  // namespace

BIO* bioOver(Socket& socket) {
  BIO* bio = BIO_new(methods());
  if (bio == nullptr) return nullptr;
  BIO_set_data(bio, &socket);
  BIO_set_init(bio, 1);
  return bio;
}

}  // namespace ferrin::proxy
