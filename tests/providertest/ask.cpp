// ask URL CERTIFICATE: what the window shows when it asks the provider directly, and trusts this certificate
// alone.

#include <future>
#include <iostream>

#include "providertest/AnswerText.h"
#include "providertest/CurlClient.h"
#include "providertest/DirectRequest.h"

int main(int, char** arguments) {
  using namespace ferrin::providertest;
  std::promise<std::string> text;
  CurlClient client(arguments[2]);
  client.send(*directRequest(arguments[1], "sk-test-key", "m", "p"),
              [&text](const HttpResult& result) { text.set_value(answerText(result)); });
  std::cout << text.get_future().get() << '\n';
}
