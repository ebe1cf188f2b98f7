#pragma once

// The view that the factory makes for a full page. It receives the page's render commands
// and shows the window faces that the rest of the module walks.

#include <memory>
#include <string>

#include "adapt/tn_browser_ui_adapt.h"
#include "light/tavrin_browser.h"
#include "light/tavrin_browser_event/browser_event_api.h"
#include "light/tavrin_browser_handler.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"

namespace tnwebui {

class TnBrowserPbUI final : public TnBrowserAdaptUI, public FusionBrowser {
 public:
  explicit TnBrowserPbUI(xhav::Browser* browser);
  ~TnBrowserPbUI() override;

  // The base's, then the SDK's organisation.
  void Init(IBrowserViewSetting* settings) override;

  // xhav::BrowserNotify
  // The dispatcher's listeners first; the base's handling unless one of them took the change.
  void OnStateChanged(int32_t state) override;
  void OnRenderCommand(CefRefPtr<CefBrowser> browser, bool* result, TnString* name,
                       const xhav::ArgList* args) override;
  // Page events first, then (with the JS SDK) the bridge's messages.
  bool OnProcessMessage(TnString* name, CefRefPtr<CefProcessMessage> message) override;
  void OnBrowserCreated() override;
  void OnBeforeBrowserClose() override;
  void OnWindowChange(int32_t) override {}
  // A page that speaks to the JS SDK takes the files dragged over it.
  bool OnDragEnter() override { return jsSdk_ && jsSdk_->fetched(); }
  bool GoBackThroughPage() override { return jsSdk_ && jsSdk_->fetched() && jsSdk_->GoBack(); }
  std::string OpenAddress() const override { return openUrl_; }
  // Made on first request; shared with hav, which adds its listeners.
  void GetEventDispatcher(std::shared_ptr<xhav::tnEventDispatcher>* out) override;

  BrowserEventApi* event_api() { return &eventApi_; }
  TavrinJsSDK* js_sdk() { return jsSdk_.get(); }

  // Attaches a browser that exists already.
  void SetBrowser(xhav::Browser* browser);
  // The window's name and the address it was opened with (the factory's to give).
  void SetNameAndUrl(std::string name, std::string openUrl) {
    name_ = std::move(name);
    openUrl_ = std::move(openUrl);
  }

  // The view as handlers see a window. (Its own GetName is IBrowserView's, so the window face
  // is an object of its own.)
  TavrinBrowser* tavrin_browser() { return &face_; }

  // FusionBrowser
  bool IsPbView() override { return true; }

 private:
  class Face final : public TavrinBrowser {
   public:
    explicit Face(TnBrowserPbUI* view) : view_(view) {}
    int32_t GetId() override;
    const std::string& GetName() override { return view_->name_; }
    int32_t GetOid() override { return view_->GetOrgId(); }
    xhav::Browser* GetHavBrowser() override { return view_->browser(); }
    const std::string& GetOpenUrl() override { return view_->openUrl_; }
    const ExtraParams& GetExtraParams() override { return view_->extraParams_; }

   private:
    TnBrowserPbUI* view_;
  };

  Face face_;
  std::string name_;
  std::unique_ptr<TavrinJsSDK> jsSdk_;
  BrowserEventApi eventApi_;
  std::string openUrl_;
  std::unique_ptr<BrowserHandlerCreator> handlerCreator_;
  ExtraParams extraParams_;
  std::shared_ptr<xhav::tnEventDispatcher> eventDispatcher_;
};

}  // namespace tnwebui
