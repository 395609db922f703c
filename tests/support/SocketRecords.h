#pragma once
// The list of TCP sockets as macOS has it, with records of other kinds in between. proxy/system/SocketList.h
// names the sources of the layout.

#include <arpa/inet.h>

#include <string>

#include "proxy/system/SocketList.h"

namespace ferrin::tests {

template <typename T>
void set(std::string& record, std::size_t offset, const T& value) {
  record.replace(offset, sizeof value, reinterpret_cast<const char*>(&value), sizeof value);
}

/// Padded as in the list.
inline std::string socketRecord(std::uint32_t kind, std::uint32_t length) {
  std::string bytes((length + 7) / 8 * 8, '\xEE');
  set(bytes, 0, length);
  set(bytes, 4, kind);
  return bytes;
}

inline void setEnd(std::string& record, std::size_t address, std::size_t port,
                   const boost::asio::ip::tcp::endpoint& end) {
  set(record, port, htons(end.port()));
  if (end.address().is_v4())
    set(record, address + 12, end.address().to_v4().to_bytes());
  else
    set(record, address, end.address().to_v6().to_bytes());
}

inline std::string recordsOf(const proxy::ListedSocket& listed) {
  std::string connection = socketRecord(0x10, 104), socket = socketRecord(0x01, 76);
  connection[44] = listed.local.address().is_v4() ? '\x01' : '\x02';
  setEnd(connection, 48, 16, listed.foreign);
  setEnd(connection, 64, 18, listed.local);
  set<std::uint16_t>(socket, 26, listed.held ? 0x0102 : 0x0001);
  set(socket, 64, listed.owner);
  set(socket, 68, listed.process);
  return connection + socket + socketRecord(0x02, 32) + socketRecord(0x04, 32) + socketRecord(0x08, 132) +
         socketRecord(0x20, 208);
}

inline std::string bytesOf(const proxy::SocketList& list) {
  const std::string frame = socketRecord(3, 24);
  std::string bytes = frame;
  for (const proxy::ListedSocket& listed : list) bytes += recordsOf(listed);
  return bytes + frame;
}

}  // namespace ferrin::tests
