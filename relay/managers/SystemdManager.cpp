#include "relay/managers/SystemdManager.h"

#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "core/RestrictedFile.h"
#include "relay/managers/ProgramCheck.h"

namespace ferrin::relay {
namespace {

constexpr const char* envProgram = "/usr/bin/env";

std::string unitName(std::string_view label) { return std::string(label) + ".service"; }

std::string escaped(char character) {
  switch (character) {
    case '\\':
      return R"(\\)";
    case '"':
      return R"(\")";
    case '\n':
      return R"(\n)";
    case '\t':
      return R"(\t)";
    case '%':
      return "%%";
    default:
      break;
  }
  if (static_cast<unsigned char>(character) >= 0x20) return {character};
  std::array<char, 5> code{};
  std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned>(character));
  return code.data();
}

/// One word of a command line, in which systemd expands nothing (systemd.service(5), "Command lines").
std::string quotedWord(std::string_view word) {
  std::string result = "\"";
  for (const char character : word) {
    if (character == '\0') throw std::invalid_argument("unit: an argument holds a NUL character");
    result += escaped(character);
  }
  return result + '"';
}

/// A path that is a whole value: systemd takes quotes in it literally, and it ends with its line.
std::string plainPath(const std::filesystem::path& path) {
  std::string result;
  for (const char character : path.string()) {
    if (static_cast<unsigned char>(character) < 0x20) {
      throw std::invalid_argument("unit: the log file's path holds a control character");
    }
    result += character == '%' ? "%%" : std::string{character};
  }
  return result;
}

/// The colon turns off the expansion of "$". systemd accepts every argument but not every program path: it
/// would refuse the unit at start without a reason.
std::string execStart(const std::vector<std::string>& commandLine) {
  const std::string& program = commandLine.front();
  if (program.find_first_of("\"'\\\x7f") != std::string::npos) {
    throw std::invalid_argument(program +
                                ": systemd starts no program with a quote or a backslash in its path");
  }
  std::string line = ":";
  for (const std::string& word : commandLine) {
    if (line.size() > 1) line += ' ';
    line += quotedWord(word);
  }
  return line;
}

std::string environmentLines(const std::vector<EnvironmentVariable>& environment) {
  std::string lines;
  for (const auto& [name, value] : environment)
    lines +=
        value ? "Environment=" + quotedWord(name + "=" + *value) + "\n" : "UnsetEnvironment=" + name + "\n";
  return lines;
}

}  // namespace

/// systemd would give up after five starts in ten seconds without StartLimitIntervalSec=0. Type=exec makes a
/// program that can't be executed a failed start. AF_NETLINK is for the relay's look-up of a connection's
/// user. Further hardening, such as PrivateDevices, makes a user's unit fail with status 218.
std::string systemdUnit(const ServiceDefinition& definition) {
  const std::string log = plainPath(definition.logFile);
  return "[Unit]\n"
         "Description=Ferrin third-party relay\n"
         "StartLimitIntervalSec=0\n"
         "\n"
         "[Service]\n"
         "Type=exec\n"
         "ExecStart=" +
         execStart(definition.commandLine) + "\n" + environmentLines(definition.environment) +
         "Restart=always\n"
         "RestartSec=1\n"
         "TimeoutStartSec=10\n"
         "TimeoutStopSec=5\n"
         "StandardOutput=append:" +
         log +
         "\n"
         "StandardError=append:" +
         log +
         "\n"
         "UMask=0077\n"
         "NoNewPrivileges=yes\n"
         "RestrictAddressFamilies=AF_UNIX AF_INET AF_INET6 AF_NETLINK\n"
         "RestrictNamespaces=yes\n"
         "RestrictRealtime=yes\n"
         "RestrictSUIDSGID=yes\n"
         "LockPersonality=yes\n"
         "SystemCallArchitectures=native\n"
         "MemoryDenyWriteExecute=yes\n"
         "KeyringMode=private\n"
         "SystemCallFilter=@system-service\n"
         "SystemCallFilter=~@privileged @resources\n"
         "SystemCallErrorNumber=EPERM\n"
         "\n"
         "[Install]\n"
         "WantedBy=default.target\n";
}

SystemdManager::SystemdManager(std::filesystem::path homeDirectory, std::filesystem::path runtimeFolder,
                               std::string systemctlProgram)
    : home(std::move(homeDirectory)),
      runtime(std::move(runtimeFolder)),
      program(std::move(systemctlProgram)) {}

ManagerOrReason SystemdManager::find(const UserSession& session) {
  const auto socket = session.runtimeFolder / "systemd" / "private";
  std::error_code ignored;
  if (!std::filesystem::exists(socket, ignored)) return {nullptr, "does not listen at " + socket.string()};
  return {std::make_unique<SystemdManager>(session.home, session.runtimeFolder), ""};
}

/// The variable is not set where this process was started outside a session, by cron say.
CommandResult SystemdManager::systemctl(std::vector<std::string> arguments) const {
  std::vector<std::string> all{"XDG_RUNTIME_DIR=" + runtime.string(), program, "--user"};
  all.insert(all.end(), std::make_move_iterator(arguments.begin()), std::make_move_iterator(arguments.end()));
  return run(envProgram, all);
}

/// Where the manager looks for the user's own units: in its own XDG_CONFIG_HOME, which this process's may
/// differ from. Of the folders that it searches (systemd.unit(5)), that is the first one named so.
std::filesystem::path SystemdManager::unitFolder() const {
  std::filesystem::path usual = home / ".config" / "systemd" / "user";
  const CommandResult searched = systemctl({"show", "--property=UnitPath", "--value"});
  if (searched.status != 0 || searched.output.find(usual.string()) != std::string::npos) return usual;
  std::istringstream folders(searched.output);
  for (std::string folder; folders >> folder;) {
    if (folder.ends_with("/systemd/user")) return folder;
  }
  return usual;
}

void SystemdManager::define(const ServiceDefinition& definition) {
  const auto unit = unitFolder() / unitName(definition.label);
  core::makeFolders(unit.parent_path());
  core::replaceRestricted(unit, systemdUnit(definition));
  core::makeFolders(definition.logFile.parent_path());
  definedProgram = definition.commandLine.front();
}

CommandResult SystemdManager::bootout(std::string_view label) { return systemctl({"stop", unitName(label)}); }

/// "enable" also has the manager read all units again (systemctl(1)).
CommandResult SystemdManager::bootstrap(std::string_view label) {
  if (const auto reason = reasonNotExecutable(definedProgram)) return {126, *reason};
  return systemctl({"enable", "--quiet", unitName(label)});
}

CommandResult SystemdManager::kickstart(std::string_view label) {
  return systemctl({"restart", unitName(label)});
}

void SystemdManager::leaveToAnother(std::string_view label) {
  systemctl({"disable", "--quiet", unitName(label)});
}

bool SystemdManager::isRunning(std::string_view label) {
  return systemctl({"is-active", "--quiet", unitName(label)}).status == 0;
}

}  // namespace ferrin::relay
