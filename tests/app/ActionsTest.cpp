// What the application's actions do, from the first effect to the last. The cases lie in actions.txt, whose
// head explains them.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <sstream>

#include "app/CommandLineMode.h"
#include "core/LauncherError.h"
#include "relay/RelayService.h"
#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

std::string unescaped(std::string text) {
  for (const auto& [escape, byte] :
       {std::pair("\\n", "\n"), {"\\r", "\r"}, {"\\t", "\t"}, {"\\xFF", "\xFF"}, {"\\uFEFF", "\xEF\xBB\xBF"}})
    text = tests::replaced(text, escape, byte);
  return text;
}

/// The verb and what follows it, where "|" stands between two.
Words wordsOf(const std::string& line) {
  std::istringstream stream(unescaped(line));
  Words words(1);
  std::getline(stream, words.front(), ' ');
  for (std::string word; std::getline(stream, word, '|');) words.push_back(word);
  words.resize(std::max<std::size_t>(words.size(), 5));
  return words;
}

/// One case: the lines below its name.
class Action : public testing::Test, TestApplication {
 public:
  explicit Action(std::string lines) : expected(std::move(lines)) {
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
      unsetenv(name);
  }

  void TestBody() override {
    std::string happened, line;
    for (std::istringstream lines(expected); std::getline(lines, line);) {
      const bool isGiven = line.starts_with("given ");
      if (!isGiven && !line.starts_with("> ")) continue;
      perform(line.substr(line.find(' ') + 1));
      const std::string effects = withMarks(std::exchange(called, ""));
      happened += line + "\n" + (isGiven && effects.find("throws ") == std::string::npos ? "" : effects);
    }
    EXPECT_EQ(happened, expected);
  }

 private:
  void perform(std::string action) {
    for (std::size_t id = 0; id < ids.size(); ++id) action = tests::replaced(action, mark(id), ids[id]);
    const Words words = wordsOf(action);
    try {
      verbs.at(words[0])(words);
    } catch (const core::LauncherError& error) {
      call("throws " + error.domain + " " + std::to_string(error.code), error.what());
    } catch (const std::exception& error) {
      call("throws", core::localizedDescription(error));
    }
    noteChanges();
  }

  static std::string mark(std::size_t id) { return "<" + std::to_string(id + 1) + ">"; }

  /// `text` with <1>, <2> for the identities of profiles, and short names for folders.
  std::string withMarks(std::string text) {
    text = tests::replaced(tests::replaced(text, at.home, "~"), folder.path(), "@");
    static const std::regex identity("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    for (std::smatch found; std::regex_search(text, found, identity);) {
      const auto known = std::find(ids.begin(), ids.end(), found.str());
      const auto id = static_cast<std::size_t>(known - ids.begin());
      if (known == ids.end()) ids.push_back(found.str());
      text = tests::replaced(text, ids[id], mark(id));
    }
    return text;
  }

  fs::path place(const std::string& name) const {
    return tests::replaced(tests::replaced(name, "~", at.home), "@", folder.path());
  }

  void start(const Words& words) {
    std::vector<const char*> arguments;
    for (const auto& word : words) arguments.push_back(word.c_str());
    if (!isReferenceConfigurationRequested(arguments)) return void(call("the window opens"));
    applyReferenceConfiguration(at, *this, collaborators.proxyResource);
  }

  void choose(const std::string& title) {
    for (const MenuItem& item : menu.items())
      if (item.title == title) return menu.choose(item.action);
    call("not in the menu");
  }

  void answer(const Words& words) {
    const auto error = words[1].empty() ? std::nullopt : std::optional(words[1]);
    complete({.error = error, .status = 200, .body = words[2]});
  }

  const std::string expected;
  Words ids;
  const std::map<std::string, std::function<void(const Words&)>> verbs{
      {"put", [this](auto& words) { tests::put(place(words[1]), words[2]); }},
      {"mode",
       [this](auto& file) { permissions(place(file[1]), fs::perms(std::stoi(file[2], nullptr, 8))); }},
      {"folder", [this](auto& words) { create_directories(place(words[1])); }},
      {"remove", [this](auto& words) { remove_all(place(words[1])); }},
      {"result",
       [this](auto& words) {
         results[words[1]] = {std::stoi(words[2]), words[3]};
       }},
      {"environment", [](auto& words) { setenv(words[1].c_str(), words[2].c_str(), 1); }},
      {"running", [this](auto& words) { running = words[1]; }},
      {"type", [this](auto& words) { fill(words[1], words[2], words[3], words[4]); }},
      {"prompt", [this](auto& words) { view->prompt = words[1]; }},
      {"leaveChatGPT", [this](auto&) { view->restartChatGPT = false; }},
      {"select", [this](auto& words) { view->selectedProfileID = words[1]; }},
      {"appear", [this](auto&) { view->appear(); }},
      {"apply", [this](auto&) { view->apply(); }},
      {"restoreOfficial", [this](auto&) { view->restoreOfficial(); }},
      {"stop", [this](auto&) { view->stop(); }},
      {"saveProfile", [this](auto&) { view->saveProfile(); }},
      {"sendToProvider", [this](auto&) { view->sendToProvider(); }},
      {"answer", [this](auto& words) { answer(words); }},
      {"close", [this](auto&) { view.reset(); }},
      {"choose", [this](auto& words) { choose(words[1]); }},
      {"background", [this](auto&) { run(background); }},
      {"main", [this](auto&) { run(main); }},
      {"start", [this](auto& words) { start(words); }},
      {"install", [this](auto&) { relay::installAndStartService(at, *this, collaborators.proxyResource); }},
  };
};

const bool casesAreRegistered = [] {
  std::map<std::string, std::string> cases;
  std::string name, line;
  for (std::istringstream lines(tests::contentOf(ACTIONS)); std::getline(lines, line);) {
    if (line.starts_with("[")) {
      name = line.substr(1, line.size() - 2);
    } else if (!name.empty() && !line.empty()) {
      cases[name] += line + "\n";
    }
  }
  if (cases.empty()) throw std::logic_error("no case in " ACTIONS);
  for (const auto& [claim, expected] : cases) {
    testing::RegisterTest("Action", claim.c_str(), nullptr, nullptr, ACTIONS, 1,
                          [expected = expected]() -> testing::Test* { return new Action(expected); });
  }
  return true;
}();

}  // namespace
}  // namespace ferrin::app
