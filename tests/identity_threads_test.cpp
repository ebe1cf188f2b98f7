// The visitor token's two answers arrive on two of the core's threads at once: the page hears
// exactly one answer, whichever comes last, every time.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "auth.pb.h"
#include "hav/null_browser.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "tnmainui/business_service.h"
#include "tnmainui/inproc_host.h"

namespace {

// A core whose token requests keep their responders, to be answered from threads of the test.
class HeldCore final : public tnbusiness::CoreObject {
 public:
  void RequestToken(IGString*, IGString*, Im::Responser* responser) override { centre = responser; }
  void RequestOrgToken(int32_t, IGString*, IGString*, Im::Responser* responser) override {
    org = responser;
  }
  IGData* GetSession(int32_t) override { return nullptr; }
  Im::Responser* centre = nullptr;
  Im::Responser* org = nullptr;
};

class Service final : public BusinessCoreService {
 public:
  tnbusiness::CoreObject* GetCoreObject() override { return &core; }
  tnbusiness::NetworkObject* GetNetworkObject() override { return nullptr; }
  tnbusiness::ApplicationObject* GetApplicationObject() override { return nullptr; }
  tnbusiness::ContactObject* GetContactObject() override { return nullptr; }
  BusinessCore* GetBusinessCore(int32_t) override { return nullptr; }
  HeldCore core;
};

class Bytes final : public IGData {
 public:
  explicit Bytes(std::string bytes) : bytes_(std::move(bytes)) {}
  void Dispose() override {}
  int32_t Reserved() override { return 0; }
  const char* Data() override { return bytes_.data(); }
  int32_t Size() override { return static_cast<int32_t>(bytes_.size()); }

 private:
  std::string bytes_;
};

TEST(VisitorTokenThreads, TwoAnswersAtOnceGiveOneAnswer) {
  Service service;
  tnmainui::InProcessHost host(nullptr, nullptr);
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  tnwebui::TavrinJsSDK sdk(3, &host);
  interdata::CoreContext context;
  (*context.mutable_context())["token"] = "t";
  Bytes data(context.SerializeAsString());
  for (int round = 0; round < 1000; ++round) {
    xhav::NullBrowser browser;
    tnwebui::JsSdkFunction* function = sdk.CreateFunction("internal.biz.getVisitorToken");
    function->Fill(3, "", &browser, browser.GetWindowHandle(), &host);
    function->Execute("internal.biz.getVisitorToken", Json::Value());
    ASSERT_NE(service.core.centre, nullptr);
    ASSERT_NE(service.core.org, nullptr);
    std::atomic<bool> go{false};
    auto answer = [&go, &data](Im::Responser* responser) {
      while (!go) std::this_thread::yield();
      responser->OnResponse(&data, nullptr);
    };
    std::thread a(answer, service.core.centre), b(answer, service.core.org);
    go = true;
    a.join();
    b.join();
    EXPECT_EQ(browser.scripts, 1) << "round " << round;
    service.core.centre = service.core.org = nullptr;
  }
}

}  // namespace
