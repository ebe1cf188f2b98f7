#pragma once

// The view of a light window: a web window that a page or the business core opens, rather
// than one embedded in the client's main window. It serves the page's desktop commands, its
// JS SDK and its events, and tells the page when the window is about to close or changes.

#include <memory>
#include <string>

#include "hav/hav.h"
#include "light/tavrin_browser.h"
#include "light/tavrin_browser_event/browser_event_api.h"
#include "light/tavrin_browser_handler.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"

namespace tnwebui {

class TavrinBrowserUI : public xhav::BrowserNotify, public TavrinBrowser, public FusionBrowser {
 public:
  explicit TavrinBrowserUI(int32_t oid);

  // xhav::BrowserNotify, in slot order; the empty ones do nothing.
  void OnStateChanged(int32_t) override {}
  void OnPageLoaded(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame>, TnString*) override {}
  void OnActiveChanged(bool) override {}
  // Tells the page "tn.onclose"; true (the window stays) whenever the EventBus is there.
  bool OnClosing() override;
  // "exebusinessaction": the five texts go to the organisation's business core.
  void OnRenderCommand(CefRefPtr<CefBrowser> browser, bool* result, TnString* name,
                       const xhav::ArgList* args) override;
  // Page events first, then the JS SDK's bridge.
  bool OnProcessMessage(TnString* name, CefRefPtr<CefProcessMessage> message) override;
  void OnFilesDragged(const xhav::FileList&) override {}
  void OnNavigationState(int32_t, int32_t) override {}
  int32_t OnBeforeNavigate(TnString*) override { return 0; }
  void OnFilesDropped(const xhav::FileList&) override {}
  // The factory forgets the window (and with it this view).
  void OnBrowserDestroyed() override;
  // The SDK and the event API get the browser; the fourteen desktop addresses are registered.
  void OnBrowserCreated() override;
  // The addresses go (by the removal list), the SDK and the event API end.
  void OnBeforeBrowserClose() override;
  void OnRenderProcessTemerate(int32_t, int32_t) override {}
  bool IsFilteredUrl(TnString*) override { return false; }
  void OnRevealFile(TnString*) override {}
  void OnPopup() override {}
  // Tells the page "tn.onwindowChange" with the state.
  void OnWindowChange(int32_t state) override;
  bool OnInnerBusiness(const std::vector<std::u16string>&, void*) override { return false; }
  bool OnDragEnter() override { return false; }
  void GetEventDispatcher(std::shared_ptr<xhav::tnEventDispatcher>* out) override {
    if (out) out->reset();
  }
  virtual ~TavrinBrowserUI();
  virtual void SetBrowser(xhav::Browser* browser) { havBrowser_ = browser; }
  // New view settings: merged into the extra parameters.
  virtual void SetViewParams(const ExtraParams& params);
  virtual void AddDesktopHandler(const char* address);

  // TavrinBrowser
  int32_t GetId() override { return id_; }
  const std::string& GetName() override { return name_; }
  int32_t GetOid() override { return oid_; }
  xhav::Browser* GetHavBrowser() override { return havBrowser_; }
  const std::string& GetOpenUrl() override { return openUrl_; }
  const ExtraParams& GetExtraParams() override { return extraParams_; }

  // FusionBrowser
  bool IsPbView() override { return false; }

  // What the factory gives a new window.
  void SetName(std::string name) { name_ = std::move(name); }
  void SetOpenUrl(std::string url) { openUrl_ = std::move(url); }
  void SetTitle(std::string title) { title_ = std::move(title); }
  const std::string& title() const { return title_; }
  // The window's identifier, hav's for its browser.
  void SetId(int32_t id) { id_ = id; }
  // Frees the view (the factory's end of a light window).
  void Destroy(int32_t) { delete this; }

  TavrinJsSDK* js_sdk() { return jsSdk_.get(); }
  BrowserEventApi* event_api() { return eventApi_.get(); }

 protected:
  // The event API is there and has its pool.
  bool HasEventApi() const { return eventApi_ && eventApi_->pool(); }

  int32_t id_ = 0;
  int32_t oid_ = 0;
  std::string name_;
  std::string openUrl_;
  ExtraParams extraParams_;
  xhav::Browser* havBrowser_ = nullptr;  // not owned
  std::unique_ptr<BrowserHandlerCreator> handlerCreator_;
  std::shared_ptr<BrowserEventApi> eventApi_;
  std::unique_ptr<TavrinJsSDK> jsSdk_;
  std::string title_;
};

}  // namespace tnwebui
