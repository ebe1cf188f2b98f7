// The SDK form of exebusinessaction: one JSON request and a callback, and answers wrapped as
// SDK responses.

#include "render_fixture.h"

namespace {

const char kNotSupported[] =
    "{\"data\":{},\"meta\":{},\"status\":{\"code\":-2,\"message\":\"NOT_SUPPORTED\"}}\n";
const char kDenied[] =
    "{\"data\":{},\"meta\":{},\"status\":{\"code\":-4,\"message\":\"PERMISSION_DENIED\"}}\n";

std::vector<std::string> Strings(const CefRefPtr<CefListValue>& list) {
  std::vector<std::string> out;
  for (size_t i = 0; i < list->GetSize(); ++i) out.push_back(list->GetString(i).ToString());
  return out;
}

}  // namespace

class SdkCalls : public RenderFixture {
 protected:
  SdkCalls() : page(OpenPage()) {}
  cef_inproc::ScriptCallResult Request(const std::string& json, CefRefPtr<CefV8Value> callback) {
    return Call(*page, "exebusinessaction", {Str(json), callback});
  }
  std::string Text(const PageFunction& fn, size_t call) {
    return (*fn.calls)[call][0]->GetStringValue().ToString();
  }
  std::shared_ptr<xhav::inproc::Page> page;
};

TEST_F(SdkCalls, UnknownApisAndBadRequestsAreAnsweredAtOnce) {
  PageFunction f;
  EXPECT_TRUE(Request("{\"api\":\"biz.nosuch\"}", f.value).handled);
  ASSERT_EQ(f.calls->size(), 1u);  // inside the page's call, before any message moved
  EXPECT_EQ(Text(f, 0), kNotSupported);
  EXPECT_TRUE(Request("not json", f.value).handled);
  EXPECT_TRUE(Request("[\"biz.config\"]", f.value).handled);
  EXPECT_TRUE(Request("{\"api\":42}", f.value).handled);
  ASSERT_EQ(f.calls->size(), 4u);
  EXPECT_EQ(Text(f, 3), kNotSupported);
  EXPECT_TRUE(Sent().empty());
  EXPECT_EQ(log.Count("return error execute js callback success [-2][NOT_SUPPORTED]\n", 1), 4);

  EXPECT_TRUE(Request("{}", CefV8Value::CreateNull()).handled);
  EXPECT_EQ(log.Count("return jsapi error message callback empty \n", 1), 1);
  EXPECT_FALSE(Request("{}", Str("not a function")).handled);
}

TEST_F(SdkCalls, OnlyThreeActionsWorkBeforeConfig) {
  PageFunction f;
  Request("{\"api\":\"biz.chooseImage\",\"payload\":{}}", f.value);
  ASSERT_EQ(f.calls->size(), 1u);
  EXPECT_EQ(Text(f, 0), kDenied);
  for (const char* api : {"config", "com.initFinished", "biz.getvisitortoken"}) {
    Request(std::string("{\"api\":\"") + api + "\"}", f.value);
  }
  EXPECT_EQ(f.calls->size(), 1u);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(Strings(sent[0].message->GetArgumentList()),
            (std::vector<std::string>{"common", "config", "", "", "0"}));
  EXPECT_EQ(Strings(sent[1].message->GetArgumentList())[1], "initfinished");
}

TEST_F(SdkCalls, ThePayloadCarriesTheApplicationIdentity) {
  PageFunction named("onConfig");
  Request("{\"api\":\"biz.config\",\"meta\":\"{\\\"n\\\":1}\",\"payload\":{\"x\":1}}", named.value);
  Request("{\"api\":\"config\",\"payload\":{\"appIdImplId\":\"own\"}}", named.value);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(Strings(sent[0].message->GetArgumentList()),
            (std::vector<std::string>{"common", "config", "",
                                      "{\"appIdImplId\":\"\",\"isFromJsSDK\":true,\"x\":1}\n",
                                      "onConfig"}));
  EXPECT_EQ(sent[1].message->GetArgumentList()->GetString(3).ToString(),
            "{\"appIdImplId\":\"own\",\"isFromJsSDK\":true}\n");
}

TEST_F(SdkCalls, AConfigAnswerOpensItsDocumentAndHidesTheIdentity) {
  PageFunction f;
  Request("{\"api\":\"config\",\"meta\":\"{\\\"req\\\":7}\"}", f.value);
  Deliver(*page,
          BusinessAnswer("common", "config", "0", 0, "{\"appIdImplId\":\"impl-9\",\"ok\":true}"));
  ASSERT_EQ(f.calls->size(), 1u);
  EXPECT_EQ(
      Text(f, 0),
      "{\"data\":{\"ok\":true},\"meta\":{\"req\":7},\"status\":{\"code\":0,\"message\":\"\"}}\n");
  EXPECT_EQ(handler->GetImplId(page->context()), "impl-9");

  // The page that configured may now run the other functions, carrying the identity.
  PageFunction g;
  Request("{\"api\":\"biz.chooseimage\",\"payload\":{}}", g.value);
  EXPECT_TRUE(g.calls->empty());
  auto sent = Sent();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[1].message->GetArgumentList()->GetString(3).ToString(),
            "{\"appIdImplId\":\"impl-9\",\"isFromJsSDK\":true}\n");
  // Another page of the same process has configured nothing: it is refused, as before.
  auto other = OpenPage();
  PageFunction h;
  Call(*other, "exebusinessaction", {Str("{\"api\":\"biz.chooseimage\",\"payload\":{}}"), h.value});
  ASSERT_EQ(h.calls->size(), 1u);
  EXPECT_NE(Text(h, 0).find("PERMISSION_DENIED"), std::string::npos);
  EXPECT_TRUE(Sent().empty());  // nothing went to the browser for it
  EXPECT_FALSE(handler->HasImplId(other->context()));
}

TEST_F(SdkCalls, AnswersWrapOddDataWithoutThrowing) {
  PageFunction f;
  Request("{\"api\":\"config\"}", f.value);
  Deliver(*page, BusinessAnswer("common", "config", "0", 0, ""));
  Deliver(*page, BusinessAnswer("common", "config", "0", 0, "{broken"));
  Deliver(*page, BusinessAnswer("common", "config", "0", 0, "[1,2]"));
  Deliver(*page, BusinessAnswer("common", "config", "0", 0, "{\"appIdImplId\":5}"));
  // The translation of a failed "Config" compares exactly, so a page's call keeps its code.
  Deliver(*page, BusinessAnswer("common", "config", "0", 3043, "{}"));
  ASSERT_EQ(f.calls->size(), 5u);
  EXPECT_EQ(Text(f, 0), "{\"data\":{},\"meta\":{},\"status\":{\"code\":0,\"message\":\"\"}}\n");
  EXPECT_EQ(Text(f, 1), Text(f, 0));
  EXPECT_EQ(Text(f, 2), "{\"data\":[1,2],\"meta\":{},\"status\":{\"code\":0,\"message\":\"\"}}\n");
  EXPECT_EQ(
      Text(f, 3),
      "{\"data\":{\"appIdImplId\":5},\"meta\":{},\"status\":{\"code\":0,\"message\":\"\"}}\n");
  EXPECT_EQ(Text(f, 4), "{\"data\":{},\"meta\":{},\"status\":{\"code\":3043,\"message\":\"\"}}\n");
  EXPECT_FALSE(handler->HasImplId(page->context()));
}

TEST_F(SdkCalls, TheCoresConfigFailuresAreTranslated) {
  PageFunction f;
  const auto context = page->context();
  for (int code : {3043, 3044, 1}) {
    handler->AddJsFunCallback(page->browser(), "Common_Config_0", f.value, context, "", 1);
    auto list = CefListValue::Create();
    list->SetString(0, std::string("0"));
    list->SetInt(1, code);
    list->SetString(2, std::string("{}"));
    handler->ExecuteBusinessActionCallback(page->browser(), "Common", "Config", list);
  }
  ASSERT_EQ(f.calls->size(), 3u);
  EXPECT_EQ(
      Text(f, 0),
      "{\"data\":{},\"meta\":{},\"status\":{\"code\":1,\"message\":\"INVALID_URL_DOMAIN\"}}\n");
  EXPECT_EQ(
      Text(f, 1),
      "{\"data\":{},\"meta\":{},\"status\":{\"code\":2,\"message\":\"INVALID_SIGNATURE\"}}\n");
  EXPECT_EQ(Text(f, 2),
            "{\"data\":{},\"meta\":{},\"status\":{\"code\":3,\"message\":\"UNKOWN_ERROR\"}}\n");
}

TEST_F(SdkCalls, AnonymousCallbacksShareOneKey) {
  PageFunction first, second;
  handler->SetImplId(page->context(), "impl");
  Request("{\"api\":\"biz.opengroupchat\"}", first.value);
  Request("{\"api\":\"com.opengroupchat\"}", second.value);
  Deliver(*page, BusinessAnswer("common", "opengroupchat", "0", 0, "{}"));
  Deliver(*page, BusinessAnswer("common", "opengroupchat", "", 0, "{}"));
  EXPECT_TRUE(first.calls->empty());
  EXPECT_EQ(second.calls->size(), 2u);
}

TEST_F(SdkCalls, CloseWindowGoesOnAsAnOrdinaryAction) {
  handler->SetImplId(page->context(), "impl");
  PageFunction f;
  Request("{\"api\":\"ui.closeWindow\"}", f.value);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].message->GetName().ToString(), "exebusinessaction");
  EXPECT_EQ(sent[0].message->GetArgumentList()->GetString(1).ToString(), "closewindow");
}
