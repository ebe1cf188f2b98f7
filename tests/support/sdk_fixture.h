#pragma once

// A light app's view whose page calls the JS SDK, with the host's business channel and the
// business core's service scripted: the test decides what the host takes, how it answers, and
// reads the scripts that reached the page.

#include <string>
#include <vector>

#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "sdk_templates.h"
#include "tnmainui/business_service.h"
#include "view_fixture.h"
#include "wait.h"

class SdkFixture : public ViewFixture {
 protected:
  explicit SdkFixture(const std::u16string& name) {
    view = Create(Settings(name, 0, ""), "https://light.test/app");
    browser = BrowserOf(view);
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
    engine.SetBusinessChannel(&channel);
    channel.SetScript([this](const tnmainui::ChannelCall& call) {
      std::vector<tnmainui::ChannelAnswer> answers;
      if (!script || !script(call, &answers)) answers = hostAnswers;
      return answers;
    });
  }
  ~SdkFixture() override {
    engine.SetBusinessChannel(nullptr);
    Settle();
    host.SetService(SID_BusinessCoreService, nullptr);
    if (view) view->Release();
  }

  // Runs what the UI thread, the core and the global queue have to do, until all is quiet.
  void Settle() {
    for (int i = 0; i < 3; ++i) {
      engine.RunUntilIdle();
      service.Flush();
      engine.RunUntilIdle();
      tnbase::globalTaskQueue(0)->Flush();
    }
  }
  // The page sends `message` (a JSON array of messages); the scripts that ran in the page since.
  std::vector<std::string> Fetch(const std::string& message) {
    const std::size_t before = browser->scripts().size();
    EXPECT_TRUE(browser->page()->FetchJSMessage(message));
    Settle();
    const auto all = browser->scripts();
    return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
  }
  // The page calls `handler` with `data` under the id "cb_1".
  std::vector<std::string> Call(const std::string& handler, const std::string& data) {
    return Fetch(R"([{"handlerName":")" + handler + R"(","callbackId":"cb_1","data":)" + data +
                 "}]");
  }
  // The call's data with `payload`.
  static std::string Payload(const std::string& payload) {
    return R"({"meta":{},"payload":)" + payload + "}";
  }
  static std::string Response(const std::string& json) {
    return "TavrinJsBridge._handleMessageFromObjC('{\"responseId\":\"cb_1\",\"responseData\":" +
           json + "}');";
  }
  static std::string Event(const std::string& json, const std::string& handler) {
    return "TavrinJsBridge._handleMessageFromObjC('{\"callbackId\":\"cb_1\",\"data\":" + json +
           ",\"handlerName\": \"" + handler + "\"}');";
  }
  // Template `number` with `code` (and `text` for its "%s"); of a template with a piece of
  // JSON, its head.
  static std::string Head(int number, int code, const std::string& text = "") {
    std::string json;
    tnwebui::JsSdkFunction::FormatText(json, sdk_text::kTemplates[number].head, code, text.c_str());
    return json;
  }
  static std::string Template(int number, int code, const std::string& text = "") {
    return Response(Head(number, code, text));
  }
  // The host's calls with `action`, as UTF-8 JSON texts.
  std::vector<std::string> HostJson(const std::u16string& action) const {
    std::vector<std::string> texts;
    for (const tnmainui::ChannelCall& call : channel.calls()) {
      if (call.params.size() > 3 && call.params[1] == action) {
        texts.push_back(tnwebui::WideToUtf8(call.params[3]));
      }
    }
    return texts;
  }

  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
  tnmainui::ScriptedBusinessService service;
  tnmainui::ScriptedBusinessChannel channel{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
  // The host's part that answers a call first; else it answers `hostAnswers`.
  std::function<bool(const tnmainui::ChannelCall&, std::vector<tnmainui::ChannelAnswer>*)> script;
  std::vector<tnmainui::ChannelAnswer> hostAnswers;
};
