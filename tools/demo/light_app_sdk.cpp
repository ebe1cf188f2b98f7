// Demo part: a light app's own TavrinJsBridge speaks to the client's JS SDK in Debian's
// Chromium. The page hands its queue over with "havFetchJSMessage"; the view's SDK serves each
// message and answers by running TavrinJsBridge._handleMessageFromObjC in the page.

#include <cstdio>

#include "demo.h"
#include "tnmainui/business_service.h"
#include "tnmainui/inproc_host.h"
#include "tnmainui/signature.h"

namespace demo {
namespace {

// The protobuf wire form of the few answers the sample core gives, written by hand: the demo
// host sees the module's contract only, not its message classes.
std::string Field(int number, const std::string& bytes) {
  return std::string(1, static_cast<char>(number << 3 | 2)) +
         std::string(1, static_cast<char>(bytes.size())) + bytes;
}
std::string Context(const std::string& token, const std::string& userId) {
  std::string context = Field(1, Field(1, "token") + Field(2, token));
  if (!userId.empty()) context += Field(1, Field(1, "userId") + Field(2, userId));
  return context;
}

}  // namespace

const char kSampleAppSecret[] = "sample-app-secret";

// The sample business core: a signature checked by computing it, a code for the app from its
// request, tokens for the visitor.
tnmainui::GoAnswer SampleIdentityCore(const tnmainui::GoCall& call) {
  Say("  the business core's own thread answers %s", call.operation.c_str());
  return IdentityCore(call, kSampleAppSecret);
}

tnmainui::GoAnswer IdentityCore(const tnmainui::GoCall& call, const std::string& secret) {
  tnmainui::GoAnswer answer;
  if (call.operation == "BatchQuery") {
    answer = tnmainui::CheckSignature(call, secret);
  } else if (call.operation == "RequestAppCode") {
    answer.data = Field(1, "ac-" + call.args[1].substr(0, 8));  // CoreAppCodeResp.code
  } else if (call.operation == "RequestToken") {
    answer.data = Context("centre-token-1", "centre-user-9");
  } else if (call.operation == "RequestOrgToken") {
    answer.data = Context("org-token-7", "");
  } else if (call.operation == "GetSession") {
    answer.data = std::string("\x10\x2a", 2);  // CoreSession.uid 42
  }
  return answer;
}

void LightAppSdk() {
  g_who = "[host]   ";
  ShowLog(1);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the light app could not run")) return;
  TraceScripts(engine, true);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::ScriptedBusinessService service;
  service.SetScript(SampleIdentityCore);
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: a light app with its own TavrinJsBridge, file://tavrin5main/sdk.html");
  Say("   it hands over three messages at once: ui.setNavigationBarMenu with its own id \"it's\","
      " ui.setNavigationBarMenu with the bridge's id, and x.y, a name the client doesn't serve");
  IBrowserView* view = nullptr;
  const HRESULT hr = OpenView(factory, u"SdkApp", "file://tavrin5main/sdk.html", core, "{}", &view);
  Say("ITnWebUI::CreateBrowserView -> %s", Status(hr).c_str());
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  Json::Value r;
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["navBar"].isObject() &&
           r["unknown"].isObject() && r["visitor"].isObject();
  });
  Say("  the page's bridge got %u texts:", r["texts"].size());
  for (const Json::Value& text : r["texts"]) Say("    %s", text.asString().c_str());
  Say("  its ids with a quote came back as it wrote them: %u of 2; the id written to break out "
      "of the answer's script ran as script: %s",
      r["quoted"].size(), r["injected"].asBool() ? "yes" : "no");
  Say("  the page's own script reports: %s", Compact(r).c_str());
  if (!r["success"].asBool()) Fail("the light app's own script did not report success");
  const std::string signature = tnmainui::SignFields(kSampleAppSecret, "7-1001", "n-42",
                                                     "1700000000", "file://tavrin5main/sdk.html");
  Say("== the page runs config with the signature its server would give it (%s...), then with "
      "a wrong one",
      signature.substr(0, 12).c_str());
  page->Evaluate("window.runConfig('" + signature + "'), true", nullptr, 1000);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["configBad"].isObject();
  });
  Say("  config with the right signature answered: %s", Compact(r["configGood"]).c_str());
  Say("  config with a wrong signature answered: %s", Compact(r["configBad"]).c_str());
  if (!r["configOk"].asBool()) Fail("config did not tell the right signature from the wrong one");
  Say("  biz.getAuthCode answered: %s", Compact(r["authCode"]).c_str());
  Say("  internal.biz.getVisitorToken answered: %s", Compact(r["visitor"]).c_str());
  if (!r["identityOk"].asBool()) Fail("the light app's identity calls were not answered");
  CloseChromiumPart(engine, page, "demo-sdk.png", view, factory, core);
}

}  // namespace demo
