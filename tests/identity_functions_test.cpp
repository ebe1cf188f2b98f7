// The identity functions of the JS SDK: "biz.getAuthCode" (a one-time code for the app) and
// "internal.biz.getVisitorToken" (device, centre and organisation tokens), from a page's
// bridge to the business core's objects and back.

#include <gmock/gmock.h>

#include "auth.pb.h"
#include "coretool.pb.h"
#include "light/tavrin_browser_jssdk/function/config.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "options.pb.h"
#include "sdk_templates.h"
#include "tn/d/obj/bridge/bridge_KV.pb.h"
#include "tn/d/obj/jsapi_signature_status/message.pb.h"
#include "tnmainui/business_service.h"
#include "tnmainui/signature.h"
#include "view_fixture.h"

namespace {

std::string Context(const std::map<std::string, std::string>& values) {
  interdata::CoreContext context;
  for (const auto& [k, v] : values) (*context.mutable_context())[k] = v;
  return context.SerializeAsString();
}

class IdentityFunctions : public ViewFixture {
 protected:
  IdentityFunctions() {
    view = Create(Settings(u"identity", 0, ""), "https://light.test/app");
    browser = BrowserOf(view);
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  }
  ~IdentityFunctions() override {
    service.Flush();
    tnbase::globalTaskQueue(0)->Flush();
    host.SetService(SID_BusinessCoreService, nullptr);
    view->Release();
  }
  // The page calls `handler` with `data`; the core answers on its thread; the scripts that
  // ran in the page since.
  std::vector<std::string> Call(const std::string& handler, const std::string& data = "{}") {
    const std::size_t before = browser->scripts().size();
    EXPECT_TRUE(browser->page()->FetchJSMessage(R"([{"handlerName":")" + handler +
                                                R"(","callbackId":"cb_1","data":)" + data + "}]"));
    engine.RunUntilIdle();
    service.Flush();
    engine.RunUntilIdle();
    tnbase::globalTaskQueue(0)->Flush();
    const auto all = browser->scripts();
    return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
  }
  static std::string Response(const std::string& json) {
    return "TavrinJsBridge._handleMessageFromObjC('{\"responseId\":\"cb_1\",\"responseData\":" +
           json + "}');";
  }
  static std::string AuthCode(int code, const std::string& authCode) {
    std::string text;
    tnwebui::JsSdkFunction::FormatText(text, sdk_text::kTemplates[3].head, code, authCode.c_str());
    return Response(text);
  }

  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
  tnmainui::ScriptedBusinessService service;
};

TEST_F(IdentityFunctions, AuthCodeAsksTheApplicationObjectAndAnswersItsCode) {
  service.SetScript([](const tnmainui::GoCall& call) {
    tnmainui::GoAnswer answer;
    interdata::CoreAppCodeResp response;
    response.set_code("code-" + call.args[1].substr(0, 4));
    answer.data = response.SerializeAsString();
    return answer;
  });
  const auto scripts = Call("biz.getAuthCode", R"({"payload":{"appId":"7-1001"}})");
  ASSERT_EQ(service.calls().size(), 1u);
  const tnmainui::GoCall call = service.calls()[0];
  EXPECT_EQ(call.operation, "RequestAppCode");
  interdata::CoreAppCodeReq request;
  ASSERT_TRUE(request.ParseFromString(call.args[0]));
  EXPECT_EQ(request.appoid(), 7);
  EXPECT_EQ(request.appid(), 1001);
  EXPECT_EQ(request.serverurl(), "https://light.test/app");
  EXPECT_EQ(call.args[1].size(), 36u);  // a new UUID as the task id
  ASSERT_EQ(scripts.size(), 1u);
  EXPECT_EQ(scripts[0], AuthCode(0, "code-" + call.args[1].substr(0, 4)));
}

TEST_F(IdentityFunctions, AuthCodeFailuresKeepTheirCodes) {
  const int before = tnwebui::JsSdkFunction::Live();
  // An error: its value, an empty code.
  service.SetScript([](const tnmainui::GoCall&) {
    tnmainui::GoAnswer answer;
    answer.subCode = 4001;
    return answer;
  });
  EXPECT_THAT(Call("biz.getAuthCode", R"({"payload":{"appId":"7"}})"),
              testing::ElementsAre(AuthCode(4001, "")));
  interdata::CoreAppCodeReq request;
  request.ParseFromString(service.calls().back().args[0]);
  EXPECT_EQ(request.appoid(), 0);  // no "-": both numbers 0
  // Bytes that are no answer: 89234.
  service.SetScript([](const tnmainui::GoCall&) {
    tnmainui::GoAnswer answer;
    answer.data = "\xff\xff\xff";
    return answer;
  });
  EXPECT_THAT(Call("biz.getAuthCode", R"({"payload":7})"),
              testing::ElementsAre(AuthCode(tnwebui::sdk::kBadAppCode, "")));
  // No data and no error: the function goes without a word.
  service.SetScript([](const tnmainui::GoCall&) {
    tnmainui::GoAnswer answer;
    answer.hasData = false;
    return answer;
  });
  EXPECT_TRUE(Call("biz.getAuthCode").empty());
  EXPECT_EQ(tnwebui::JsSdkFunction::Live(), before);
  // Without the application object nothing is asked and nothing answered.
  service.SetObjects(true, true, false, true);
  const std::size_t asked = service.calls().size();
  EXPECT_TRUE(Call("biz.getAuthCode").empty());
  EXPECT_EQ(service.calls().size(), asked);
}

// The core's answer to a signature check: `ok`, in an array of `count` elements.
std::string SignatureAnswer(bool ok, int count = 1) {
  bridge::KVSArray answer;
  for (int i = 0; i < count; ++i) {
    answer.add_array()->mutable_v()->mutable_v_obj()->mutable_v_jsapi_signature_status()->set_ok(
        ok);
  }
  return answer.SerializeAsString();
}

class Config : public IdentityFunctions {
 protected:
  void AnswerWith(std::string bytes, int32_t code = 0) {
    service.SetScript([bytes, code](const tnmainui::GoCall&) {
      tnmainui::GoAnswer answer;
      answer.data = bytes;
      answer.code = code;
      return answer;
    });
  }
  // The signature key of the last batched query.
  tn::d::obj::jsapi_signature_status::K SentKey() {
    bridge::KArray keys;
    EXPECT_TRUE(keys.ParseFromString(service.calls().back().args[0]));
    EXPECT_EQ(keys.array_size(), 1);
    return keys.array(0).k_obj().k_jsapi_signature_status();
  }
  std::string Answer(int code) {
    std::string text;
    tnwebui::JsSdkFunction::FormatText(text, sdk_text::kTemplates[1].head, code);
    return Response(text);
  }
  std::string SharedAppId() { return Pb(view)->js_sdk()->app_id_impl_id(); }
};

TEST_F(Config, AGoodSignatureAnswersZeroAndLeavesTheAppsIdentity) {
  AnswerWith(SignatureAnswer(true));
  const auto scripts = Call("config", R"({"payload":{"appId":"7-1001","nonceStr":"n1",)"
                                      R"("signature":"s1","timestamp":1700000000}})");
  EXPECT_THAT(scripts, testing::ElementsAre(Answer(0)));
  const tnmainui::GoCall call = service.calls().back();
  EXPECT_EQ(call.operation, "BatchQuery");
  EXPECT_EQ(call.number, 1);
  interdata::TaskOptions options;
  ASSERT_TRUE(options.ParseFromString(call.args[1]));
  EXPECT_TRUE(options.needauth() && options.netsensitive());
  const auto key = SentKey();
  EXPECT_EQ(key.app_id().oid(), 7);
  EXPECT_EQ(key.app_id().app_id(), 1001);
  EXPECT_EQ(key.nonce(), "n1");
  EXPECT_EQ(key.signature(), "s1");
  EXPECT_EQ(key.timestamp(), "1700000000");
  EXPECT_EQ(key.url(), "https://light.test/app");
  // 08 07 10 e9 07: oid 7, app_id 1001.
  EXPECT_EQ(SharedAppId(), "080710e907");
  // The bytes the business core reads, by their wire numbers: the key array's element (1), the
  // key's object (1), the signature-check key (69), then its five fields in order; the options
  // are needAuth (1) and netSensitive (2).
  const std::string signatureKey = std::string("\x0a\x05\x08\x07\x10\xe9\x07", 7) + "\x12\x02n1" +
                                   "\x1a\x0a"
                                   "1700000000" +
                                   "\x22\x16https://light.test/app" + "\x2a\x02s1";
  ASSERT_EQ(signatureKey.size(), 51u);
  EXPECT_EQ(call.args[0], "\x0a\x38\x0a\x36\xaa\x04\x33" + signatureKey);
  EXPECT_EQ(call.args[1], "\x08\x01\x10\x01");
}

// The identity is the configuring page's: once the window holds a page of another origin, its
// calls carry none of it; back on the app's origin they do again.
TEST_F(Config, TheIdentityStaysWithTheOriginThatConfiguredIt) {
  AnswerWith(SignatureAnswer(true));
  Call("config", R"({"payload":{"appId":"7-1001"}})");
  EXPECT_EQ(SharedAppId(), "080710e907");
  BrowserOf(view)->LoadUrl("https://elsewhere.test/page");
  engine.RunUntilIdle();
  AnswerWith(SignatureAnswer(true));
  Call("biz.getAuthCode");
  EXPECT_EQ(SharedAppId(), "");
  BrowserOf(view)->LoadUrl("https://light.test/other");
  engine.RunUntilIdle();
  Call("biz.getAuthCode");
  EXPECT_EQ(SharedAppId(), "080710e907");
}

TEST_F(Config, ABadSignatureIsRefusedButTheIdentityStays) {
  AnswerWith(SignatureAnswer(false));
  EXPECT_THAT(Call("config", R"({"payload":{"appId":"7","timestamp":"1700000000"}})"),
              testing::ElementsAre(Answer(tnwebui::sdk::kSignatureRejected)));
  // "7" has no dash: zeros are sent, and their (empty) form is stored all the same.
  EXPECT_EQ(SentKey().app_id().oid(), 0);
  EXPECT_EQ(SentKey().timestamp(), "");  // a timestamp as text is left out
  EXPECT_EQ(SharedAppId(), "");
  AnswerWith(SignatureAnswer(false));
  Call("config", R"({"payload":{"appId":"3-4"}})");
  EXPECT_EQ(SharedAppId(), "08031004");
}

TEST_F(Config, MalformedAnswersAndErrorsAreLoggedWithTheirCodes) {
  AnswerWith(SignatureAnswer(true, 2));
  EXPECT_THAT(Call("config"), testing::ElementsAre(Answer(tnwebui::sdk::kBadSignatureAnswer)));
  AnswerWith("\xff\xff");
  EXPECT_THAT(Call("config"), testing::ElementsAre(Answer(tnwebui::sdk::kBadSignatureAnswer)));
  AnswerWith("", 777);
  EXPECT_THAT(Call("config"), testing::ElementsAre(Answer(777)));
  const char* function = "JSConfigFunction::Execute::<lambda>::operator ()";
  EXPECT_EQ(log.Count("jsapi_signature_status, the response size is not 1 size", 4, function), 1);
  EXPECT_EQ(log.Count("jsapi_signature_status, parser error", 4, function), 1);
  EXPECT_EQ(log.Count("jsapi_signature_status error, dump error code: 777", 4, function), 1);
  // Without a payload every field goes empty.
  const auto key = SentKey();
  EXPECT_EQ(key.nonce() + key.signature() + key.timestamp(), "");
}

TEST_F(Config, TheSampleCoreChecksTheSignatureByComputingIt) {
  service.SetScript(
      [](const tnmainui::GoCall& call) { return tnmainui::CheckSignature(call, "app-secret"); });
  const std::string good =
      tnmainui::SignFields("app-secret", "7-1001", "n1", "1700000000", "https://light.test/app");
  const std::string call = R"({"payload":{"appId":"7-1001","nonceStr":"n1",)"
                           R"("timestamp":1700000000,"signature":")";
  EXPECT_THAT(Call("config", call + good + "\"}}"), testing::ElementsAre(Answer(0)));
  EXPECT_THAT(Call("config", call + "0" + good.substr(1) + "\"}}"),
              testing::ElementsAre(Answer(tnwebui::sdk::kSignatureRejected)));
}

class VisitorToken : public IdentityFunctions {
 protected:
  // The core's answers: the centre's and the organisation's contexts, the session's uid.
  void Answer(const std::string& centre, const std::string& org, bool failCentre = false) {
    service.SetScript([=](const tnmainui::GoCall& call) {
      tnmainui::GoAnswer answer;
      if (call.operation == "RequestToken") {
        answer.data = Context({{"token", centre}, {"userId", "center-9"}});
        if (failCentre) answer.code = 500;
      } else if (call.operation == "RequestOrgToken") {
        answer.data = Context({{"token", org}});
      } else if (call.operation == "GetSession") {
        interdata::CoreSession session;
        session.set_uid(55);
        answer.data = session.SerializeAsString();
      }
      return answer;
    });
  }
  std::string Expected(const std::string& userId, const std::string& centre,
                       const std::string& org) {
    std::string text;
    const int32_t oid = Pb(view)->GetOrgId();
    tnwebui::JsSdkFunction::FormatText(text, sdk_text::kTemplates[15].head, 0,
                                       "device-0001_webview", userId.c_str(), centre.c_str(), oid,
                                       55, org.c_str(), oid);
    return Response(text);
  }
};

TEST_F(VisitorToken, BothTokensAnswerOnceWithTheDeviceAndTheSessionsUid) {
  Answer("centre-token", "org-token");
  const auto scripts = Call("internal.biz.getVisitorToken");
  ASSERT_EQ(scripts.size(), 1u);
  EXPECT_EQ(scripts[0], Expected("center-9", "centre-token", "org-token"));
  std::vector<std::string> operations;
  for (const auto& call : service.calls()) operations.push_back(call.operation);
  EXPECT_THAT(operations, testing::ElementsAre("RequestToken", "RequestOrgToken", "GetSession"));
  EXPECT_EQ(service.calls()[0].args, (std::vector<std::string>{"webview", "device-0001_webview"}));
}

TEST_F(VisitorToken, AFailedRequestLeavesItsSideEmptyAndTheCodeZero) {
  Answer("centre-token", "org-token", /*failCentre=*/true);
  EXPECT_THAT(Call("internal.biz.getVisitorToken"),
              testing::ElementsAre(Expected("", "", "org-token")));
}

TEST_F(VisitorToken, LongTokensCutTheAnswerAt1024Bytes) {
  Answer(std::string(900, 'c'), std::string(900, 'o'));
  const auto scripts = Call("internal.biz.getVisitorToken");
  ASSERT_EQ(scripts.size(), 1u);
  const std::string head = Response("");
  // The answer inside the script: the response's head and close around at most 1,024 bytes.
  EXPECT_EQ(scripts[0].size(), head.size() + 1024);
}

TEST_F(VisitorToken, WithoutTheServiceNothingIsAsked) {
  host.SetService(SID_BusinessCoreService, nullptr);
  EXPECT_TRUE(Call("internal.biz.getVisitorToken").empty());
  EXPECT_TRUE(service.calls().empty());
}

}  // namespace
