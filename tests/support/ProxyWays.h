#pragma once
// The rows of ways.txt.

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {

struct ProxyWay {
  std::string name, url, environment, expected;

  /// Sets the row's variables, and no other one of a proxy. While no other thread reads any.
  void apply() const {
    for (const char* variable : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                 "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
      unsetenv(variable);
    }
    std::istringstream assignments(environment);
    for (std::string word; std::getline(assignments, word, ' ');)
      setenv(word.substr(0, word.find('=')).c_str(), word.substr(word.find('=') + 1).c_str(), 1);
  }
};

inline std::vector<ProxyWay> proxyWays(const std::string& file) {
  std::vector<ProxyWay> rows;
  std::istringstream lines(contentOf(file));
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line.front() == '#') continue;
    ProxyWay& row = rows.emplace_back();
    std::istringstream columns(replaced(line, " | ", "\n"));
    for (std::string* column : {&row.name, &row.url, &row.environment, &row.expected})
      std::getline(columns, *column);
  }
  return rows;
}

}  // namespace ferrin::tests
