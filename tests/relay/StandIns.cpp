#include "tests/relay/StandIns.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {

namespace fs = std::filesystem;

void putProgram(const fs::path& file, std::string_view content) {
  put(file, content);
  fs::permissions(file, fs::perms::owner_all);
}

bool isAlive(pid_t process) {
  const std::string state = contentOf("/proc/" + std::to_string(process) + "/stat");
  return state.find(") Z ") == std::string::npos && kill(process, 0) == 0;
}

StandInLaunchctl::StandInLaunchctl(const fs::path& folder) : program((folder / "launchctl").string()) {
  put(program + ".calls", "");
  putProgram(program, R"(#!/bin/sh
(IFS='|'; printf '%s\n' "$*" >>"$0.calls")
[ ! -f "$0.$1" ] || . "$0.$1"
)");
}

void StandInLaunchctl::answer(const std::string& subcommand, std::string_view answer) const {
  put(program + "." + subcommand, answer);
}

std::string StandInLaunchctl::calls() const {
  return replaced(contentOf(program + ".calls"), "gui/" + std::to_string(getuid()), "gui");
}

StandInRelay::StandInRelay(const fs::path& file) : program(file), record(file.string() + ".record") {
  putProgram(program, R"(#!/usr/bin/env -S python3 -ES
import os, signal, sys
signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
print("told of", os.environ.get("FERRIN_RELAY_PROGRAM"), flush=True)
print("complaint", file=sys.stderr, flush=True)
record, process = sys.argv[0] + ".record", str(os.getpid())
with open(record + process, "w") as words: words.writelines(word + "\0" for word in [process, *sys.argv])
os.replace(record + process, record)
signal.sigwait([signal.SIGTERM])
print("asked to end", flush=True)
)");
}

std::vector<std::string> StandInRelay::arguments() const {
  std::istringstream words(contentOf(record));
  std::vector<std::string> all;
  for (std::string word; std::getline(words, word, '\0');) all.push_back(word);
  return {all.begin() + 1, all.end()};
}

pid_t StandInRelay::running(pid_t other) const {
  pid_t found = 0;
  const bool runs = eventually([&] {
    found = std::atoi(contentOf(record).c_str());
    return found != 0 && found != other && isAlive(found);
  });
  return runs ? found : 0;
}

relay::ServiceDefinition serviceOf(const StandInRelay& relay, const std::vector<std::string>& arguments) {
  std::vector<std::string> commandLine{relay.path().string()};
  commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
  return {std::string(core::serviceLabel), commandLine,
          relay.path().parent_path() / "logs 100%h/the relay's.log", "/a 100% \"$HOME\"/it's\\n"};
}

void install(relay::ServiceManager& manager, const relay::ServiceDefinition& definition) {
  manager.define(definition);
  manager.bootout(definition.label);
  for (const auto& result : {manager.bootstrap(definition.label), manager.kickstart(definition.label)}) {
    EXPECT_EQ(result.status, 0) << result.output;
  }
}

}  // namespace ferrin::tests
