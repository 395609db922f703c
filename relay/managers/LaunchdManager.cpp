#include "relay/managers/LaunchdManager.h"

#include <plist/plist.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "core/RestrictedFile.h"
#include "core/Text.h"
#include "relay/managers/PropertyListText.h"

namespace ferrin::relay {
namespace {

std::string domainTarget() { return "gui/" + std::to_string(getuid()); }

std::string serviceTarget(std::string_view label) { return domainTarget() + "/" + std::string(label); }

/// libplist would write such text all the same. XML 1.0 can't hold other control characters or the two
/// non-characters, escaped or not (section 2.2), and parsers turn a carriage return into a line feed
/// (section 2.11).
bool fitsXML(const std::string& text) {
  const auto forbidden = [](unsigned char c) { return c < 0x20 && c != '\t' && c != '\n'; };
  return core::isUTF8(text) && std::none_of(text.begin(), text.end(), forbidden) &&
         text.find("\uFFFE") == std::string::npos && text.find("\uFFFF") == std::string::npos;
}

plist_t stringNode(const std::string& text) {
  if (!fitsXML(text)) throw std::invalid_argument("property list: a value holds a character that XML can't");
  return plist_new_string(text.c_str());
}

using PropertyListNode = std::unique_ptr<void, decltype(&plist_free)>;

PropertyListNode argumentsNode(const std::vector<std::string>& commandLine) {
  PropertyListNode array(plist_new_array(), plist_free);
  for (const std::string& argument : commandLine) plist_array_append_item(array.get(), stringNode(argument));
  return array;
}

}  // namespace

std::string propertyList(const ServiceDefinition& definition) {
  const PropertyListNode root(plist_new_dict(), plist_free);
  const auto set = [&root](const char* key, plist_t value) { plist_dict_set_item(root.get(), key, value); };
  set("Label", stringNode(definition.label));
  set("ProgramArguments", argumentsNode(definition.commandLine).release());
  set("RunAtLoad", plist_new_bool(1));
  set("KeepAlive", plist_new_bool(1));
  set("StandardOutPath", stringNode(definition.logFile.string()));
  set("StandardErrorPath", stringNode(definition.logFile.string()));
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &xml, &length);
  const std::unique_ptr<char, decltype(&freePropertyListText)> owned(xml, freePropertyListText);
  if (xml == nullptr) throw std::bad_alloc();
  return {xml, length};
}

LaunchdManager::LaunchdManager(std::filesystem::path homeDirectory, std::string launchctlProgram)
    : home(std::move(homeDirectory)), launchctl(std::move(launchctlProgram)) {}

ManagerOrReason LaunchdManager::find(const UserSession& session) {
  return {std::make_unique<LaunchdManager>(session.home), ""};
}

std::filesystem::path LaunchdManager::propertyListURL(std::string_view label) const {
  return home / "Library" / "LaunchAgents" / (std::string(label) + ".plist");
}

void LaunchdManager::define(const ServiceDefinition& definition) {
  const auto url = propertyListURL(definition.label);
  core::makeFolders(url.parent_path());
  core::replaceRestricted(url, propertyList(definition));
}

CommandResult LaunchdManager::bootout(std::string_view label) {
  return run(launchctl, {"bootout", serviceTarget(label)});
}

CommandResult LaunchdManager::bootstrap(std::string_view label) {
  return run(launchctl, {"bootstrap", domainTarget(), propertyListURL(label).string()});
}

CommandResult LaunchdManager::kickstart(std::string_view label) {
  return run(launchctl, {"kickstart", "-k", serviceTarget(label)});
}

/// What launchd starts at login is what lies in the folder.
void LaunchdManager::leaveToAnother(std::string_view label) {
  std::error_code ignored;
  std::filesystem::remove(propertyListURL(label), ignored);
}

bool LaunchdManager::isRunning(std::string_view label) {
  const CommandResult answer = run(launchctl, {"print", serviceTarget(label)});
  return answer.status == 0 && answer.output.find("state = running") != std::string::npos;
}

}  // namespace ferrin::relay
