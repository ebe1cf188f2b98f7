#pragma once

// Pages' requests to the module-wide desktop commands ("/window/open", "/window/havewindow",
// "/biz/common/choosecontacts"), sent from a page view of the fixture, with organisation 7's
// business core, the client's main page "TnMain" and its call channel, and a media service.

#include <gmock/gmock.h>

#include "jsapi.pb.h"
#include "light/desktop_origin.h"
#include "presentation.pb.h"
#include "tnmainui/business_service.h"
#include "tnmainui/media_service.h"
#include "view_fixture.h"

// The codes of the Responses that a request got, in order.
inline std::vector<int> ResponseCodes(const xhav::inproc::RequestResult& result) {
  std::vector<int> codes;
  for (const std::string& write : result.writes) {
    interdata::Response response;
    EXPECT_TRUE(response.ParseFromString(write));
    codes.push_back(response.code());
  }
  return codes;
}

class OpenFixture : public ViewFixture {
 protected:
  static constexpr int kOid = 7;

  explicit OpenFixture(bool mainThreadIsUi = true) : ViewFixture(mainThreadIsUi) {}
  void SetUp() override {
    module->OnModuleLoaded(0);
    page = Create(Settings(u"Asker"), "https://asker.test/");
    service.SetBusinessCore(kOid, core);
    host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
    host.SetService(SID_MediaService, static_cast<MediaService*>(&media));
    engine.SetBusinessChannel(&channel);
  }
  void TearDown() override {
    channel.ReleaseHeld();
    engine.SetBusinessChannel(nullptr);
    core->SetBrowserView(u"TnMain", nullptr);
    if (mainPage) mainPage->Release();
    host.SetService(SID_MediaService, nullptr);
    host.SetService(SID_BusinessCoreService, nullptr);
    page->Release();
  }

  // The client's main page, which the core knows by name.
  void OpenMainPage() {
    mainPage = Create(Settings(u"TnMain"), "https://main.test/");
    core->SetBrowserView(u"TnMain", mainPage);
  }
  // A body of `items` for a command.
  static std::string Body(const std::vector<interdata::ParamItem>& items) {
    interdata::ParamList list;
    for (const auto& item : items) *list.add_items() = item;
    return list.SerializeAsString();
  }
  static interdata::ParamItem Text(const std::string& text) {
    interdata::ParamItem item;
    item.set_stringval(text);
    return item;
  }
  static interdata::ParamItem Int(int32_t value) {
    interdata::ParamItem item;
    item.set_intval(value);
    return item;
  }
  static interdata::ParamItem Bytes(const std::string& bytes) {
    interdata::ParamItem item;
    item.set_bytesval(bytes);
    return item;
  }
  static interdata::TavrinWindowData Data(const std::string& name, int32_t oid = kOid) {
    interdata::TavrinWindowData data;
    data.set_oid(oid);
    data.set_name(name);
    return data;
  }
  // "/window/open" of `url` with `data`, and `property` when given.
  xhav::inproc::RequestResult Open(const std::string& url, const interdata::TavrinWindowData& data,
                                   const interdata::WindowProperty* property = nullptr) {
    std::vector<interdata::ParamItem> items{Text(url), Bytes(data.SerializeAsString())};
    if (property) items.push_back(Bytes(property->SerializeAsString()));
    return Send("/window/open", Body(items));
  }
  xhav::inproc::RequestResult Send(const char* path, const std::string& body) {
    const std::vector<std::string> elements{body};
    return engine.SendRequest(BrowserOf(page)->GetId(), tnwebui::DesktopAddress(path), &elements);
  }
  static std::vector<int> Codes(const xhav::inproc::RequestResult& result) {
    return ResponseCodes(result);
  }
  // The light window that a successful open replied with.
  xhav::inproc::BrowserImpl* Opened(const xhav::inproc::RequestResult& result) {
    interdata::Response response;
    interdata::TavrinWindowData data;
    if (result.writes.empty() || !response.ParseFromString(result.writes[0]) ||
        !data.ParseFromString(response.data())) {
      return nullptr;
    }
    for (auto* browser : engine.browsers()) {
      if (browser->GetId() == data.id()) return browser;
    }
    return nullptr;
  }
  static win::Rect RectOf(xhav::Browser* browser) {
    win::Rect rect;
    win::GetWindowRect(browser->GetWindowHandle(), &rect);
    return rect;
  }

  IBrowserView* page = nullptr;
  IBrowserView* mainPage = nullptr;
  tnmainui::ScriptedBusinessService service;
  tnmainui::SampleMediaService media;
  tnmainui::ScriptedBusinessChannel channel{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
};
