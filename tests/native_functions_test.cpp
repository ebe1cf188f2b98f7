// The functions of the page's `tnpc` object: what is answered in the render process and what
// leaves for the browser process.

#include "render_fixture.h"

namespace {

std::vector<std::string> Strings(const CefRefPtr<CefListValue>& list) {
  std::vector<std::string> out;
  for (size_t i = 0; i < list->GetSize(); ++i) out.push_back(list->GetString(i).ToString());
  return out;
}

}  // namespace

class NativeFunctions : public RenderFixture {
 protected:
  NativeFunctions() : page(OpenPage()) {}

  cef_inproc::ScriptCallResult Exe(const CefV8ValueList& args) {
    return Call(*page, "exebusinessaction", args);
  }
  bool Registered(const std::string& key) {
    return handler->FindJsCallback(page->browser(), key) != nullptr;
  }

  std::shared_ptr<xhav::inproc::Page> page;
};

TEST_F(NativeFunctions, NavigationIsAnsweredInTheRenderProcess) {
  page->SetHistory(true, false);
  auto back = Call(*page, "cangoback");
  auto forward = Call(*page, "cangoforward");
  EXPECT_TRUE(back.handled && back.value->IsBool() && back.value->GetBoolValue());
  EXPECT_TRUE(forward.value->IsBool() && !forward.value->GetBoolValue());
  Call(*page, "refresh");
  Call(*page, "goback", {Str("ignored")});
  Call(*page, "goforward");
  EXPECT_EQ(page->reloads(), 1);
  EXPECT_EQ(page->backs(), 1);
  EXPECT_EQ(page->forwards(), 1);
  EXPECT_TRUE(Sent().empty());
}

TEST_F(NativeFunctions, WindowCommandsLeaveAsMessagesWithoutElements) {
  const std::vector<std::string> names = {"minwnd", "maxwnd", "restorewnd", "closewnd",
                                          "forceclosewnd"};
  for (const auto& name : names) EXPECT_TRUE(Call(*page, name, {Int(1)}).handled);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(sent[i].message->GetName().ToString(), names[i]);
    EXPECT_EQ(sent[i].message->GetArgumentList()->GetSize(), 0u);
    EXPECT_EQ(sent[i].browserId, page->id());
  }
  EXPECT_EQ(log.Count("CCefV8HandlerImpl - Execute name[minwnd]", 1, "CCefV8HandlerImpl::Execute"),
            1);
}

TEST_F(NativeFunctions, ClassicCallLowersNamesAndSendsFiveStrings) {
  PageFunction f;
  EXPECT_TRUE(Exe({Str("A"), Str("B"), Str("p"), Str("{\"j\":1}"), Int(7), f.value}).handled);
  EXPECT_TRUE(
      Exe({Str("A"), Str("B"), Str(""), Str(""), Int(8), CefV8Value::CreateNull()}).handled);
  EXPECT_TRUE(Exe({Str("Biz"), Str("Act"), Str(""), Str(""), Str("MixedId"), f.value}).handled);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[0].message->GetName().ToString(), "exebusinessaction");
  EXPECT_EQ(Strings(sent[0].message->GetArgumentList()),
            (std::vector<std::string>{"a", "b", "p", "{\"j\":1}", "7"}));
  // Without a callback the id is only read for the key, so it is dropped.
  EXPECT_EQ(Strings(sent[1].message->GetArgumentList()),
            (std::vector<std::string>{"a", "b", "", "", ""}));
  EXPECT_EQ(Strings(sent[2].message->GetArgumentList())[4], "MixedId");
  EXPECT_TRUE(Registered("a_b_7"));
  EXPECT_FALSE(Registered("a_b_8"));
  EXPECT_TRUE(Registered("biz_act_mixedid"));
}

TEST_F(NativeFunctions, CallbackIdFallsBackToTheFunctionNameThenZero) {
  PageFunction named("onDone"), anonymous;
  Exe({Str("a"), Str("b"), Str(""), Str(""), Str(""), named.value});
  Exe({Str("a"), Str("c"), Str(""), Str(""), Str(""), anonymous.value});
  EXPECT_TRUE(Registered("a_b_ondone"));
  EXPECT_TRUE(Registered("a_c_0"));
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].message->GetArgumentList()->GetString(4).ToString(), "onDone");
  EXPECT_EQ(sent[1].message->GetArgumentList()->GetString(4).ToString(), "0");
}

TEST_F(NativeFunctions, ReceiveParksTheCallbackAndSendsNothing) {
  PageFunction f;
  EXPECT_TRUE(Exe({Str("Common"), Str("Receive"), Str(""), Str(""), Str("abc"), f.value}).handled);
  EXPECT_TRUE(Registered("common_receive_abc"));
  EXPECT_TRUE(Sent().empty());
  EXPECT_EQ(log.Count("no need send the javascript call to browser process: common,receive", 2,
                      "CCefV8HandlerImpl::Execute"),
            1);

  Deliver(*page, BusinessAnswer("common", "receive", "ABC", 5, "pushed"));
  ASSERT_EQ(f.calls->size(), 1u);
  EXPECT_EQ((*f.calls)[0][0]->GetIntValue(), 5);
  EXPECT_EQ((*f.calls)[0][1]->GetStringValue().ToString(), "pushed");
  EXPECT_EQ((*f.calls)[0][2]->GetStringValue().ToString(), "ABC");
}

TEST_F(NativeFunctions, ArgumentsOutsideTheClassicFormAreRefused) {
  PageFunction f;
  const std::vector<CefV8ValueList> refused = {
      {Str("a"), Str("b"), Int(3), Str(""), Str("1"), f.value},                        // param
      {Str("a"), Str("b"), Str(""), Str(""), CefV8Value::CreateDouble(7.5), f.value},  // id
      {Str("a"), Str("b"), Str(""), Str(""), CefV8Value::CreateBool(true), f.value},
      {Str("a"), Str("b"), Str(""), Str(""), Str("1"), Str("not a function")},
      {Str("a"), Str("b"), Str(""), Str(""), Str("1"), CefV8Value::CreateUndefined()},
      {Str("a"), Str("b"), Str(""), Str(""), Str("1")},
      {Str("{\"api\":\"config\"}"), Str("not a function")},
      {},
  };
  for (const auto& args : refused) EXPECT_FALSE(Exe(args).handled);
  EXPECT_TRUE(Sent().empty());
  EXPECT_FALSE(Registered("a_b_1"));
}

TEST_F(NativeFunctions, EventFunctionsAreRoutedByArgumentCount) {
  EXPECT_TRUE(Call(*page, "registerEvent", {Str("x")}).handled);
  EXPECT_TRUE(Call(*page, "unregisterEvent", {}).handled);
  EXPECT_TRUE(Call(*page, "sendEvent", {Int(1)}).handled);
  EXPECT_FALSE(
      cef_inproc::CallFromScript(page->context(), CefV8Value::CreateFunction("nosuch", handler), {})
          .handled);
}

TEST_F(NativeFunctions, WithoutABrowserNothingIsSentAndNothingBreaks) {
  auto context = cef_inproc::CreateContext(nullptr, nullptr);
  PageFunction f;
  auto call = [&](const char* name, const CefV8ValueList& args) {
    return cef_inproc::CallFromScript(context, CefV8Value::CreateFunction(name, handler), args);
  };
  EXPECT_TRUE(call("minwnd", {}).handled);
  auto back = call("cangoback", {});
  EXPECT_TRUE(back.handled && back.value->IsUndefined());
  EXPECT_TRUE(
      call("exebusinessaction", {Str("a"), Str("b"), Str(""), Str(""), Str("1"), f.value}).handled);
  EXPECT_EQ(log.Count("no need send the javascript call to browser process: a,b"), 1);
  EXPECT_TRUE(Sent().empty());
  cef_inproc::InvalidateContext(context);
}

TEST_F(NativeFunctions, RegisterEventSendsTheNamesWithOneFreshKey) {
  PageFunction f;
  CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(2);
  names->SetValue(0, Int(1));  // not a name: its index stays unset
  names->SetValue(1, Str("tn.b"));
  EXPECT_TRUE(Call(*page, "registerEvent", {names, f.value, Str("tag")}).handled);
  EXPECT_TRUE(Call(*page, "registerEvent", {Str("tn.b"), f.value}).handled);  // no array
  EXPECT_TRUE(Call(*page, "registerEvent", {names, Str("no function")}).handled);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 1u);
  auto args = sent[0].message->GetArgumentList();
  EXPECT_EQ(sent[0].message->GetName().ToString(), "registerEvent");
  EXPECT_EQ(args->GetList(0)->GetType(0), VTYPE_NULL);
  EXPECT_EQ(args->GetList(0)->GetString(1).ToString(), "tn.b");
  const std::string key = args->GetString(1).ToString();
  EXPECT_EQ(key.size(), 36u);
  EXPECT_TRUE(Registered(key));
  EXPECT_EQ(args->GetString(2).ToString(), "tag");
}
