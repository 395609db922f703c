#include "app/ContentView.h"

#include <utility>

#include "app/ContentRules.h"

namespace ferrin::app {

ContentView::ContentView(const Collaborators& collaborators)
    : with(collaborators),
      launcherState(with.launcherState),
      launcherStateSubscription(launcherState.subscribe([this](bool) { observers.notify(); })) {}

core::Subscription ContentView::subscribe(std::function<void()> observer) {
  return observers.add(std::move(observer));
}

void ContentView::appear() {
  launcherState.refresh();
  loadSavedConfiguration();
}

ContentView::Poster ContentView::poster() const {
  return [&dispatcher = with.dispatcher, view = std::weak_ptr(self)](Step step) {
    dispatcher.onMain([view, step = std::move(step)] {
      if (const auto present = view.lock()) step(**present);
    });
  };
}

std::optional<core::ProviderProfile> ContentView::selectedProfile() const {
  return profileWithID(profiles, selectedProfileID.get());
}

/// saveForm changes the selection before it sets its last status; loading has to come after that.
void ContentView::selectionChanged(const std::string& id) {
  if (!isSaving) loadProfile(id);
}

}  // namespace ferrin::app
