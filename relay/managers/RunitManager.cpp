#include "relay/managers/RunitManager.h"

#include <chrono>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "core/RestrictedFile.h"
#include "relay/managers/ProgramCheck.h"
#include "relay/managers/RunsvFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

/// A service that has not ended after this is killed. The relay ends at once.
constexpr std::chrono::seconds endDeadline{5};
/// For runsv to start, or to start a service again; it waits a second before it starts again what ran for
/// less.
constexpr std::chrono::seconds startDeadline{5};
constexpr std::chrono::milliseconds pollInterval{2};

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

/// One word of a desktop entry's Exec key: quoted, and then escaped as every string of that format
/// (freedesktop.org, Desktop Entry, "The Exec key").
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

}  // namespace

/// Makes the log's folder itself: at login there is no application to do it.
std::string runScript(const ServiceDefinition& definition) {
  std::string script = "#!/bin/sh\numask 077\n";
  script += "mkdir -p " + quotedForShell(definition.logFile.parent_path().string()) + "\n";
  script += "exec >>" + quotedForShell(definition.logFile.string()) + " 2>&1 </dev/null\n";
  for (const auto& [name, value] : definition.environment)
    script += value ? "export " + name + "=" + quotedForShell(*value) + "\n" : "unset " + name + "\n";
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

fs::path RunitManager::autostartFile(std::string_view label) const {
  return home / ".config" / "autostart" / (std::string(label) + ".desktop");
}

void RunitManager::define(const ServiceDefinition& definition) {
  const fs::path folder = serviceFolder(definition.label);
  core::makeFolders(folder);
  core::makeFolders(definition.logFile.parent_path());
  core::replaceRestricted(folder / "run", runScript(definition));
  fs::permissions(folder / "run", fs::perms::owner_all);
  const fs::path autostart = autostartFile(definition.label);
  core::makeFolders(autostart.parent_path());
  core::replaceRestricted(autostart, autostartEntry(supervisor(), folder));
  // For bootstrap to check: runsv runs whether or not its service can be started.
  definedProgram = definition.commandLine.front();
  definedLog = definition.logFile;
}

CommandResult RunitManager::bootout(std::string_view label) {
  const RunsvFolder runsv(serviceFolder(label));
  if (!runsv.order('x')) return {1, supervisor().string() + " does not run"};
  const auto ended = [&runsv] { return !runsv.isSupervised(); };
  if (becomesTrueWithin(endDeadline, ended)) return {};
  runsv.order('k');
  if (becomesTrueWithin(endDeadline, ended)) return {};
  return {1, supervisor().string() + " does not end"};
}

/// Loads without starting, by a file "down" that runsv reads when it starts. At login there is none, and the
/// service starts.
CommandResult RunitManager::bootstrap(std::string_view label) {
  for (const fs::path& needed : {definedProgram, supervisor()}) {
    if (const auto reason = reasonNotExecutable(needed)) return {126, *reason};
  }
  const fs::path folder = serviceFolder(label);
  core::replaceRestricted(folder / "down", "");
  CommandResult started = runDetached(supervisor().string(), {folder.string()});
  const RunsvFolder runsv(folder);
  const bool supervised =
      started.status == 0 && becomesTrueWithin(startDeadline, [&] { return runsv.isSupervised(); });
  fs::remove(folder / "down");
  if (started.status != 0 || supervised) return started;
  return {1, supervisor().string() + " did not start"};
}

/// Not by sv(8), which looks only every 420 ms.
CommandResult RunitManager::kickstart(std::string_view label) {
  const RunsvFolder runsv(serviceFolder(label));
  const std::string before = runsv.process();
  const auto hasAnother = [&] {
    const std::string now = runsv.process();
    return !now.empty() && now != before;
  };
  // Up first: after TERM alone, runsv would not start a service that was set to down.
  if (!runsv.order('u') || (!before.empty() && !runsv.order('t')))
    return {1, supervisor().string() + " does not run"};
  if (becomesTrueWithin(endDeadline, hasAnother)) return {};
  runsv.order('k');
  if (becomesTrueWithin(startDeadline, hasAnother)) return {};
  return {1, "the relay did not start; " + definedLog.string() + " says why"};
}

void RunitManager::leaveToAnother(std::string_view label) {
  std::error_code ignored;
  fs::remove(autostartFile(label), ignored);
}

bool RunitManager::isRunning(std::string_view label) { return RunsvFolder(serviceFolder(label)).isRunning(); }

}  // namespace ferrin::relay
