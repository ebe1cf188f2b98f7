// The render-process entry: the extension, the native object on each context, and the
// messages from the browser process.

#include <cstdlib>
#include <fstream>
#include <set>

#include "render_fixture.h"
#include "scratch_dir.h"

namespace {

std::set<std::string> Keys(CefRefPtr<CefV8Value> object) {
  std::vector<CefString> keys;
  object->GetKeys(keys);
  std::set<std::string> out;
  for (const auto& k : keys) out.insert(k.ToString());
  return out;
}

const std::set<std::string> kWindowFunctions = {
    "minwnd",  "restorewnd", "maxwnd",    "closewnd",  "forceclosewnd",
    "refresh", "goback",     "cangoback", "goforward", "cangoforward"};

}  // namespace

using RenderEntry = RenderFixture;

TEST_F(RenderEntry, RegistersTheExtensionWithBothVersions) {
  const auto extensions = engine.extensions();
  ASSERT_EQ(extensions.size(), 1u);
  EXPECT_EQ(extensions[0].name, "v8/tnpc_global");
  EXPECT_EQ(extensions[0].handler.get(), handler.get());
  const std::string own = tnwebui::getFileVersion(nullptr);
  EXPECT_EQ(extensions[0].script,
            "var tnpc_global;if(!tnpc_global) tnpc_global = {};(function(){ "
            "tnpc_global.tnwebui_ver = '" +
                own +
                "'; tnpc_global.tnbusiness_ver = '0.0.0.0'; "
                "tnpc_global.sayhello = function() { alert('Hello N');};  tnpc_global.GetVersion = "
                "function() { native function GetVersion(); return GetVersion();}; })();");
}

TEST_F(RenderEntry, GetVersionIsDeclaredButNotAnswered) {
  auto page = OpenPage();
  auto fn = CefV8Value::CreateFunction("GetVersion", handler);
  EXPECT_FALSE(cef_inproc::CallFromScript(page->context(), fn, {}).handled);
}

TEST(FileVersion, ReadsTheVersionResourceOrGivesTheDefault) {
  const char* library = std::getenv("TNWEBUI_LIBRARY");
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(tnwebui::getFileVersion(library), "1.0.0.1");
  EXPECT_EQ(tnwebui::getFileVersion("/bin/sh"), "0.0.0.0");
  EXPECT_EQ(tnwebui::getFileVersion("/nonexistent/TnBusiness.dll"), "0.0.0.0");
  const ScratchDir dir("tnwebui-render");
  const std::string junk = dir.path() + "/junk.so";
  std::ofstream(junk) << "\x7f"
                         "ELF\x02\x01 not really an ELF file";
  EXPECT_EQ(tnwebui::getFileVersion(junk.c_str()), "0.0.0.0");
}

TEST_F(RenderEntry, EveryContextGetsOneObjectUnderBothNames) {
  auto page = OpenPage(true);
  auto tnpc = page->Get("tnpc");
  ASSERT_TRUE(tnpc && tnpc->IsObject());
  EXPECT_TRUE(tnpc->IsSame(page->Get("Tavrin")));
  auto expected = kWindowFunctions;
  expected.insert({"exebusinessaction", "registerEvent", "unregisterEvent", "sendEvent"});
  EXPECT_EQ(Keys(tnpc), expected);
  EXPECT_EQ(page->Get("tnpc.minwnd")->GetFunctionHandler().get(), handler.get());

  page->Reload();
  engine.RunUntilIdle();
  EXPECT_FALSE(page->Get("tnpc")->IsSame(tnpc));
}

TEST_F(RenderEntry, WithoutBusinessOnlyTheWindowFunctionsAreThere) {
  auto page = OpenPage(false);
  EXPECT_EQ(Keys(page->Get("tnpc")), kWindowFunctions);
  EXPECT_EQ(page->Get("tnpc.exebusinessaction"), nullptr);
}

TEST_F(RenderEntry, WithoutHandlerNoObjectIsInstalled) {
  tnwebui::RenderProcess bare(&module);
  auto context = cef_inproc::CreateContext(nullptr, nullptr);
  bare.OnContextCreated(nullptr, nullptr, context, true);
  EXPECT_FALSE(context->GetGlobal()->HasValue("tnpc"));
  cef_inproc::InvalidateContext(context);
}

TEST_F(RenderEntry, MessagesWithTheWrongCountAreDroppedSilently) {
  auto page = OpenPage();
  auto push = PushNotify("k", 0, "e", "json", "{}", false);
  push->GetArgumentList()->SetSize(4);
  auto answer = BusinessAnswer("a", "b", "1", 0, "");
  answer->GetArgumentList()->SetSize(2);
  log.Clear();
  Deliver(*page, push);
  Deliver(*page, answer);
  EXPECT_EQ(engine.TakeHavResults(), (std::vector<bool>{false, false}));
  EXPECT_TRUE(log.records().empty());
}

TEST_F(RenderEntry, MessageNamesIgnoreCaseAndUnknownNamesAreLogged) {
  auto page = OpenPage();
  PageFunction f;
  handler->AddJsFunCallback(page->browser(), "a_b_1", f.value, page->context(), "", 0);
  Deliver(*page, BusinessAnswer("a", "b", "1", 0, "x"));
  auto upper = BusinessAnswer("a", "b", "1", 0, "y");
  Deliver(*page, CefProcessMessage::Create("EXEBUSINESSACTIONCALLBACK"));  // wrong count
  auto renamed = CefProcessMessage::Create("EXEBUSINESSACTIONCALLBACK");
  renamed->GetArgumentList()->SetString(0, "a");
  renamed->GetArgumentList()->SetString(1, "b");
  renamed->GetArgumentList()->SetList(2, upper->GetArgumentList()->GetList(2));
  Deliver(*page, renamed);
  Deliver(*page, CefProcessMessage::Create("whatever"));
  EXPECT_EQ(engine.TakeHavResults(), (std::vector<bool>{true, false, true, false}));
  ASSERT_EQ(f.calls->size(), 2u);
  EXPECT_EQ((*f.calls)[1][1]->GetStringValue().ToString(), "y");
  EXPECT_EQ(log.Count("unknown OnHavMessage[whatever]", 2, "RenderProcess::OnHavMessage"), 1);
  EXPECT_EQ(log.Count("OnHavMessage:exebusinessactioncallback->business[a] action[b]", 2), 2);
}

TEST_F(RenderEntry, PushNotifyPassesBinaryFormatsAsArrayBuffersAndOthersAsText) {
  auto page = OpenPage();
  PageFunction f;
  handler->AddJsFunCallback(page->browser(), "key", f.value, page->context(), "", 1);
  const std::string bytes("a\0b", 3);
  for (const char* format : {"binary", "pb"}) {
    Deliver(*page, PushNotify("key", 3, "tn.event", format, bytes, true));
  }
  for (const char* format : {"base64", "json", "pbtext", "Binary"}) {
    Deliver(*page, PushNotify("key", 3, "tn.event", format, "text", false));
  }
  ASSERT_EQ(f.calls->size(), 6u);
  for (size_t i = 0; i < 6; ++i) {
    const auto& args = (*f.calls)[i];
    ASSERT_EQ(args.size(), 4u);
    EXPECT_EQ(args[0]->GetIntValue(), 3);
    EXPECT_EQ(args[1]->GetStringValue().ToString(), "tn.event");
    if (i < 2) {
      ASSERT_TRUE(args[3]->IsArrayBuffer());
      ASSERT_EQ(args[3]->GetArrayBufferByteLength(), 3u);
      EXPECT_EQ(std::string(static_cast<char*>(args[3]->GetArrayBufferData()), 3), bytes);
    } else {
      EXPECT_EQ(args[3]->GetStringValue().ToString(), "text");
    }
  }
  EXPECT_EQ((*f.calls)[1][2]->GetStringValue().ToString(), "pb");
}

TEST_F(RenderEntry, AnAnswerWithoutHandlerLogsBothLines) {
  tnwebui::RenderProcess bare(&module);
  auto page = OpenPage();
  auto message = BusinessAnswer("common", "x", "1", 0, "");
  engine.render_host()->SetRenderNotify(&bare);
  Deliver(*page, message);
  Deliver(*page, PushNotify("k", 0, "e", "json", "", false));
  engine.render_host()->SetRenderNotify(&render);
  EXPECT_EQ(engine.TakeHavResults(), (std::vector<bool>{false, false}));
  EXPECT_EQ(log.Count("OnHavMessage:exebusinessactioncallback->business[common] action[x]"), 1);
  EXPECT_EQ(log.Count("unknown OnHavMessage[ExeBusinessActionCallback]"), 1);
  EXPECT_EQ(log.Count("unknown OnHavMessage[push_notify]"), 0);
}

TEST_F(RenderEntry, AnAnswerWhoseResultIsNoListChangesNothingInThePage) {
  auto page = OpenPage();
  PageFunction parked;
  // A parked callback with the id an empty result would fall back to.
  handler->AddJsFunCallback(page->browser(), "a_b_0", parked.value, page->context(), "", 0);
  // A sent message is spent: each answer is a message of its own.
  auto answer = [](auto setResult) {
    auto message = CefProcessMessage::Create("ExeBusinessActionCallback");
    message->GetArgumentList()->SetString(0, "a");
    message->GetArgumentList()->SetString(1, "b");
    setResult(message->GetArgumentList());
    return message;
  };
  Deliver(*page, answer([](CefRefPtr<CefListValue> args) { args->SetString(2, "not a list"); }));
  Deliver(*page, answer([](CefRefPtr<CefListValue> args) { args->SetInt(2, 0); }));
  EXPECT_EQ(engine.TakeHavResults(), (std::vector<bool>{false, false}));
  EXPECT_TRUE(parked.calls->empty());
  EXPECT_EQ(log.Count("OnHavMessage:exebusinessactioncallback without a result list, dropped", 4,
                      "RenderProcess::OnHavMessage"),
            2);
}
