#include "proxy/ClientWatch.h"

namespace ferrin::proxy {

ClientWatch::ClientWatch(ExchangeState& shared) : state(shared), recheck([this] { start(); }) {}

void ClientWatch::start() {
  state.client.stream.socket().watchActivity([this] { check(); });
}

void ClientWatch::startLater() { recheck.start(state.services.timeouts.recheck); }

void ClientWatch::pause() {
  state.client.stream.socket().unwatchActivity();
  recheck.stop();
}

/// Called when something has arrived that is not read now.
void ClientWatch::check() noexcept {
  if (state.client.hasGone()) {
    state.clientHasGone();
  } else if (state.client.stream.socket().hasUnread()) {
    startLater();
  }
}

}  // namespace ferrin::proxy
