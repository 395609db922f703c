// The action of the main window that tests a provider directly.

#include <utility>

#include "app/ContentView.h"
#include "core/Text.h"
#include "providertest/AnswerText.h"
#include "providertest/DirectRequest.h"
#include "providertest/URLComponents.h"

namespace ferrin::app {

void ContentView::sendToProvider() {
  const std::string address = core::canonicalURL(upstreamURL.get()) + "/responses";
  const std::string key = resolvedKeyOrNone();
  if (key.empty() || !providertest::parseURL(address)) {
    response = "请先填写有效的第三方 URL 和 API Key。";
    return;
  }
  auto request = providertest::directRequest(address, key, model, prompt);
  if (!request) return;
  isSending = true;
  response = "";
  with.httpClient.send(*std::move(request), [post = poster()](const providertest::HttpResult& result) {
    post([text = providertest::answerText(result)](ContentView& view) {
      view.response = text;
      view.isSending = false;
    });
  });
}

}  // namespace ferrin::app
