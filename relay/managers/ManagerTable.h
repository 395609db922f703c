#pragma once
// The service managers that this system may have, one row each. Another one is a file with a class that
// implements ServiceManager and has a `find`, and a row.

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// What a manager is found by.
struct UserSession {
  std::filesystem::path home;
  /// Holds the sockets of the user's services: XDG_RUNTIME_DIR.
  std::filesystem::path runtimeFolder;
  /// Where installed programs are, searched in this order.
  std::vector<std::filesystem::path> programFolders;
};

/// A manager that serves this user; or null, and the reason. The reason completes a sentence that begins with
/// the row's name: "is not installed".
struct ManagerOrReason {
  std::unique_ptr<ServiceManager> manager;
  std::string reason;
};

struct ManagerRow {
  /// As a message for a person names it.
  std::string_view name;
  /// Looks at files only; starts no program.
  ManagerOrReason (*find)(const UserSession& session);
};

struct ManagerTable {
  /// The preferred one first.
  std::span<const ManagerRow> rows;
  /// What a user without any of them can do.
  std::string_view advice;
};

/// The table of the system that this is compiled for; ManagerTable_….cpp.
ManagerTable managerTable();

/// chooseServiceManager for a session that is not this process's own.
std::unique_ptr<ServiceManager> chooseServiceManager(const UserSession& session);

}  // namespace ferrin::relay
