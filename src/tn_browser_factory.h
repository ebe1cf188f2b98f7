#pragma once

// The browser factory: the one object through which the host opens, finds and closes web
// windows. It keeps the list of all windows of the process.

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "base/unknown_impl.h"
#include "light/tavrin_browser.h"
#include "tnwebui/tnwebui.h"

namespace tnwebui {

class TnBrowserPbUI;

class TnBrowserFactory final : public ITnWebUI {
 public:
  TnBrowserFactory() = default;

  HRESULT Initialize(uint32_t) override { return S_OK; }
  HRESULT Uninitialize() override { return S_OK; }
  HRESULT CreateBrowserView(const char* url, IBrowserViewSetting* settings,
                            IBrowserView** out) override;
  HRESULT CreateBrowserViewSetting(IBrowserViewSetting** out) override;
  HRESULT CloseBrowsersOfName(const char16_t* name) override;
  HRESULT GetDefaultView() override { return S_OK; }
  HRESULT FindBrowserView(const char16_t* name, IBrowserView** out) override;
  HRESULT Reserved1(int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT Reserved2(int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT CreateLightBrowser(int32_t first, const char* url, xhav::BrowserParam* third) override;
  HRESULT CreateLightBrowser(int32_t first, const char* name, const char* url,
                             xhav::BrowserParam* param,
                             const interdata::WindowProperty* property) override;
  HRESULT CreateLightBrowser(int32_t first, const char* name, const char* url,
                             xhav::BrowserParam* param) override;
  HRESULT CreateLightBrowser(int32_t first, const char* name, const char* url) override;

  // A view for a popup of the engine, added to the list.
  TnBrowserPbUI* CreatePopupView(int32_t ignored, const char* url, xhav::BrowserParam* param);
  TavrinBrowser* FindLightBrowserById(int32_t id);
  TavrinBrowser* FindLightBrowserByName(const std::string& name);
  // Takes the window with this hav identifier out of the list and ends the factory's hold.
  void RemoveBrowser(int32_t id);
  // Whether a popup view (CreatePopupView) with this hav identifier is open; `close` closes
  // it, without asking it (UI thread).
  bool PopupViewOpen(int32_t id, bool close = false);

  // How many windows the list holds.
  std::size_t size();

 private:
  ~TnBrowserFactory() = default;

  // The element at `index`, read under the lock, or null past the end. The list may shrink
  // between two reads, since windows may call back into the factory during a walk.
  FusionBrowser* At(std::size_t index);
  void Append(FusionBrowser* element);
  // Takes `element` out of the list; false if it isn't there.
  bool Erase(FusionBrowser* element);

  std::mutex lock_;
  std::vector<FusionBrowser*> browsers_;

  TN_IMPLEMENT_UNKNOWN(ITnWebUI, IID_ITnWebUI);
};

// A new parameter object from hav, which the process has loaded; null without hav.
xhav::BrowserParam* NewBrowserParam();

}  // namespace tnwebui
