#include "tests/relay/StandIns.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {

namespace fs = std::filesystem;

void putProgram(const fs::path& file, std::string_view content) {
  put(file, content);
  fs::permissions(file, fs::perms::owner_all);
}

std::vector<std::string> linesOf(const fs::path& file) {
  std::ifstream stream(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool isAlive(pid_t process) {
  // An ended process is known until its parent has seen the end, which may be while we look.
  const auto isKnown = [process] { return kill(process, 0) == 0; };
  const auto state = [process] { return contentOf("/proc/" + std::to_string(process) + "/stat"); };
  return isKnown() && state().find(") Z ") == std::string::npos && isKnown();
}

StandInLaunchctl::StandInLaunchctl(const fs::path& folder) : program((folder / "launchctl").string()) {
  putProgram(program, R"(#!/bin/sh
(IFS='|'; printf '%s\n' "$*" >>"$0.calls")
[ ! -f "$0.$1" ] || . "$0.$1"
)");
}

void StandInLaunchctl::answer(const std::string& subcommand, std::string_view answer) const {
  put(program + "." + subcommand, answer);
}

std::vector<std::string> StandInLaunchctl::calls() const {
  auto lines = linesOf(program + ".calls");
  for (auto& line : lines) line = replaced(line, "gui/" + std::to_string(getuid()), "gui");
  return lines;
}

StandInRelay::StandInRelay(const fs::path& file) : program(file) {
  putProgram(program, R"(#!/usr/bin/env -S python3 -ES
import os, signal, sys
signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
record, process = sys.argv[0] + ".arguments", str(os.getpid())
with open(record + process, "w") as words: words.writelines(word + "\0" for word in sys.argv)
os.replace(record + process, record)
print("started with", len(sys.argv) - 1, "arguments", flush=True)
print("told of", os.environ.get("FERRIN_RELAY_PROGRAM"), flush=True)
print("complaint", file=sys.stderr, flush=True)
with open(sys.argv[0] + ".starts", "a") as starts: print(process, file=starts)
signal.sigwait([signal.SIGTERM])
print("asked to end", flush=True)
)");
}

std::vector<std::string> StandInRelay::arguments() const {
  std::istringstream record(contentOf(program.string() + ".arguments"));
  std::vector<std::string> words;
  for (std::string word; std::getline(record, word, '\0');) words.push_back(word);
  return words;
}

std::vector<pid_t> StandInRelay::starts() const {
  std::vector<pid_t> processes;
  for (const std::string& line : linesOf(program.string() + ".starts")) processes.push_back(std::stoi(line));
  return processes;
}

pid_t StandInRelay::running(pid_t other) const {
  pid_t found = 0;
  eventually([&] {
    const auto all = starts();
    found = all.empty() || all.back() == other || !isAlive(all.back()) ? 0 : all.back();
    return found != 0;
  });
  return found;
}

relay::ServiceDefinition serviceOf(const StandInRelay& relay, const std::vector<std::string>& arguments) {
  std::vector<std::string> commandLine{relay.path().string()};
  commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
  return {std::string(core::serviceLabel), commandLine,
          relay.path().parent_path() / "logs 100%/the relay's.log", "/a 100% \"$HOME\"/it's\\n"};
}

void install(relay::ServiceManager& manager, const relay::ServiceDefinition& definition) {
  manager.define(definition);
  manager.bootout(definition.label);
  for (const auto& result : {manager.bootstrap(definition.label), manager.kickstart(definition.label)}) {
    EXPECT_EQ(result.status, 0) << result.output;
  }
}

}  // namespace ferrin::tests
