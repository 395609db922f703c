#pragma once

namespace ferrin::proxy {

/// Has the kernel notice that the path of a TCP connection is dead: after 30 s of silence it probes the peer,
/// which also keeps NATs open, and it ends the connection when data or probes stay unacknowledged for 75 s.
/// The process is not woken as long as the peer answers.
void probePath(int socket) noexcept;

}  // namespace ferrin::proxy
