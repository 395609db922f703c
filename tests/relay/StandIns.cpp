#include "tests/relay/StandIns.h"

#include <signal.h>

#include <fstream>
#include <sstream>

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
  const bool exists = kill(process, 0) == 0;
  const bool waitedFor =
      contentOf("/proc/" + std::to_string(process) + "/stat").find(") Z ") != std::string::npos;
  return exists && !waitedFor;  // an ended process exists until its parent has seen the end
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

std::vector<std::string> StandInLaunchctl::calls() const { return linesOf(program + ".calls"); }

StandInRelay::StandInRelay(const fs::path& file) : program(file) {
  putProgram(program, R"(#!/bin/sh
printf '%s\0' "$0" "$@" >"$0.arguments.$$" && mv "$0.arguments.$$" "$0.arguments"
echo "started with $# arguments"
echo "complaint" >&2
trap 'echo "asked to end"; exit 0' TERM
mkfifo "$0.never.$$"
echo $$ >>"$0.starts"
read -r _ <>"$0.never.$$"
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

}  // namespace ferrin::tests
