#include "relay/RunitManager.h"

#include <chrono>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "core/RestrictedFile.h"
#include "core/TextFile.h"
#include "relay/ProgramCheck.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

/// A service that has not ended after this is killed. The relay needs 4 s at most.
constexpr std::chrono::seconds endDeadline{7};
/// For runsv to start, or to start a service again; it needs a second at most.
constexpr std::chrono::seconds startDeadline{5};
constexpr std::chrono::milliseconds pollInterval{10};

bool becomesTrueWithin(std::chrono::seconds timeout, const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(pollInterval);
  }
  return true;
}

/// One word for sh, which expands nothing in it.
std::string quotedForShell(std::string_view word) {
  std::string result = "'";
  for (const char character : word) {
    if (character == '\0') throw std::invalid_argument("run script: an argument holds a NUL character");
    result += character == '\'' ? R"('\'')" : std::string{character};
  }
  return result + "'";
}

/// One word of a desktop entry's Exec key: quoted, and then escaped as every string of that format (Desktop
/// Entry Specification, "The Exec key").
std::string quotedForDesktopEntry(std::string_view word) {
  std::string result = "\"";
  for (const char character : word) {
    switch (character) {
      case '\\':
        result += R"(\\\\)";
        break;
      case '"':
      case '`':
      case '$':
        result += R"(\\)" + std::string{character};
        break;
      case '%':
        result += "%%";
        break;
      case '\n':
        result += R"(\n)";
        break;
      default:
        result += character;
    }
  }
  return result + '"';
}

std::string pidIn(const fs::path& serviceFolder) {
  try {
    return core::readBytes(serviceFolder / "supervise" / "pid");
  } catch (const std::system_error&) {
    return "";
  }
}

/// The other answers, "fail:" and "warning:", mean that no runsv reads its orders.
bool isSupervised(const CommandResult& status) {
  return status.output.starts_with("run:") || status.output.starts_with("down:") ||
         status.output.starts_with("finish:");
}

}  // namespace

/// Makes the log's folder itself: at login there is no application to do it.
std::string runScript(const ServiceDefinition& definition) {
  std::string script = "#!/bin/sh\numask 077\n";
  script += "mkdir -p " + quotedForShell(definition.logFile.parent_path().string()) + "\n";
  script += "exec >>" + quotedForShell(definition.logFile.string()) + " 2>&1 </dev/null\n";
  if (!definition.relayProgram.empty()) {
    script += "export FERRIN_RELAY_PROGRAM=" + quotedForShell(definition.relayProgram.string()) + "\n";
  }
  script += "exec";
  for (const std::string& word : definition.commandLine) {
    script += ' ';
    script += quotedForShell(word);
  }
  script += '\n';
  return script;
}

std::string autostartEntry(const fs::path& runsv, const fs::path& serviceFolder) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Ferrin third-party relay\n"
         "NoDisplay=true\n"
         "Exec=" +
         quotedForDesktopEntry(runsv.string()) + " " + quotedForDesktopEntry(serviceFolder.string()) + "\n";
}

RunitManager::RunitManager(fs::path homeDirectory, fs::path programFolder)
    : home(std::move(homeDirectory)), programs(std::move(programFolder)) {}

ManagerOrReason RunitManager::find(const UserSession& session) {
  std::error_code ignored;
  for (const fs::path& folder : session.programFolders) {
    if (fs::exists(folder / "runsv", ignored)) {
      return {std::make_unique<RunitManager>(session.home, folder), ""};
    }
  }
  return {nullptr, "is not installed"};
}

fs::path RunitManager::serviceFolder(std::string_view label) const {
  return home / ".local" / "share" / "ferrin-relay" / "sv" / label;
}

CommandResult RunitManager::sv(std::vector<std::string> order, std::string_view label) const {
  order.push_back(serviceFolder(label).string());
  return run((programs / "sv").string(), order);
}

void RunitManager::define(const ServiceDefinition& definition) {
  const fs::path folder = serviceFolder(definition.label);
  core::makeFolders(folder);
  core::replaceRestricted(folder / "run", runScript(definition));
  fs::permissions(folder / "run", fs::perms::owner_all);
  const fs::path autostart = home / ".config" / "autostart" / (definition.label + ".desktop");
  core::makeFolders(autostart.parent_path());
  core::replaceRestricted(autostart, autostartEntry(programs / "runsv", folder));
  // For bootstrap to check: runsv runs whether or not its service can be started.
  definedProgram = definition.commandLine.front();
}

CommandResult RunitManager::bootout(std::string_view label) {
  return sv({"-w", std::to_string(endDeadline.count()), "force-shutdown"}, label);
}

CommandResult RunitManager::bootstrap(std::string_view label) {
  const fs::path runsv = programs / "runsv";
  for (const fs::path& program : {definedProgram, runsv}) {
    if (const auto reason = reasonNotExecutable(program)) return {126, *reason};
  }
  const CommandResult started = runDetached(runsv.string(), {serviceFolder(label).string()});
  return started.status == 0 ? awaitSupervisor(label) : started;
}

/// Not `sv restart`: that can return before the old process has ended, and looks only every 420 ms.
CommandResult RunitManager::kickstart(std::string_view label) {
  const std::string pidBefore = pidIn(serviceFolder(label));
  // "up" first: after "term" alone, runsv would not restart a service that was set to "down".
  for (const char* order : {"up", "term"}) {
    if (CommandResult sent = sv({order}, label); sent.status != 0) return sent;
  }
  if (hasOtherPid(label, pidBefore, endDeadline)) return {};
  sv({"kill"}, label);
  if (hasOtherPid(label, pidBefore, startDeadline)) return {};
  return {1, serviceFolder(label).string() + ": the service was not started again; the relay's log says why"};
}

bool RunitManager::isRunning(std::string_view label) {
  return sv({"status"}, label).output.starts_with("run:");
}

CommandResult RunitManager::awaitSupervisor(std::string_view label) const {
  CommandResult status;
  const bool supervised =
      becomesTrueWithin(startDeadline, [&] { return isSupervised(status = sv({"status"}, label)); });
  return supervised ? CommandResult{} : CommandResult{1, status.output};
}

bool RunitManager::hasOtherPid(std::string_view label, const std::string& pidBefore,
                               std::chrono::seconds timeout) const {
  return becomesTrueWithin(timeout, [&] {
    const std::string pid = pidIn(serviceFolder(label));
    return !pid.empty() && pid != pidBefore;
  });
}

}  // namespace ferrin::relay
