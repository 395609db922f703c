// ask URL CERTIFICATE KEY LIMIT PATIENCE <PROMPT: what the window shows when it asks the provider directly.
// Of all certificates it trusts this one alone, or the system's when that is empty. LIMIT, in milliseconds,
// is the request's own; after PATIENCE the client is destroyed.

#include <future>
#include <iostream>
#include <iterator>
#include <memory>

#include "providertest/AnswerText.h"
#include "providertest/CurlClient.h"
#include "providertest/DirectRequest.h"

using namespace ferrin::providertest;

int main(int, char** arguments) {
  const std::string prompt(std::istreambuf_iterator<char>(std::cin), {});
  HttpRequest request = *directRequest(arguments[1], arguments[3], "m", prompt);
  request.timeout = std::chrono::milliseconds(std::stoi(arguments[4]));
  auto text = std::make_shared<std::promise<std::string>>();
  std::future<std::string> shown = text->get_future();
  auto client = std::make_unique<CurlClient>(arguments[2]);
  client->send(request,
               [text = std::move(text)](const HttpResult& result) { text->set_value(answerText(result)); });
  shown.wait_for(std::chrono::milliseconds(std::stoi(arguments[5])));
  client.reset();
  try {
    std::cout << shown.get() << '\n';
  } catch (const std::future_error&) {
    std::cout << "never called back\n";
  }
}
