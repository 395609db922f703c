#include "tests/relay/StandIns.h"

#include <signal.h>

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

StandInRelay::StandInRelay(const fs::path& file) : program(file), record(file.string() + ".record") {
  putProgram(program, R"(#!/bin/sh
printf "told of %s\n" "$FERRIN_RELAY_PROGRAM"
echo complaint >&2
printf '%s\0' $$ "$0" "$@" >"$0.$$"
mv "$0.$$" "$0.record"
exec sleep 600
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

}  // namespace ferrin::tests
