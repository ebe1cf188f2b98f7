#pragma once

// The base of every view: reference counting, the window operations of the hav browser, the
// window commands a page sends, and the hand-back to the factory when the window is gone.

#include <atomic>
#include <memory>

#include "base/live_count.h"
#include "base/unknown_impl.h"
#include "hav/hav.h"
#include "tnwebui/view.h"

namespace tnwebui {

class TnBrowserUI : public IBrowserView,
                    public xhav::BrowserNotify,
                    public LiveCounted<TnBrowserUI> {
 public:
  explicit TnBrowserUI(xhav::Browser* browser) : browser_(browser) {}

  // IBrowserView: the window operations; the rest is the adapted view's.
  void SetParentFrame(uint32_t) override {}
  int32_t IsReady() override { return 1; }
  HWND GetHwnd() override;
  void Show(int32_t show) override;
  void SetAlwaysTop(int32_t top) override;
  void SetViewOptionA(uint32_t) override {}
  void SetViewOptionB(uint32_t) override {}
  HRESULT Reserved1() override { return E_NOTIMPL; }
  HRESULT Reserved2() override { return E_NOTIMPL; }
  HRESULT Reserved3() override { return E_NOTIMPL; }
  ~TnBrowserUI() override;
  bool ProcessJsCommand(TnString* command) override;
  bool IsSpecial() override { return false; }

  // xhav::BrowserNotify: nothing happens unless a derived view says so.
  void OnStateChanged(int32_t) override {}
  void OnPageLoaded(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame>, TnString*) override {}
  void OnActiveChanged(bool) override {}
  bool OnClosing() override { return false; }
  void OnRenderCommand(CefRefPtr<CefBrowser>, bool*, TnString*, const xhav::ArgList*) override {}
  bool OnProcessMessage(TnString*, CefRefPtr<CefProcessMessage>) override { return false; }
  void OnFilesDragged(const xhav::FileList&) override {}
  void OnNavigationState(int32_t, int32_t) override {}
  int32_t OnBeforeNavigate(TnString*) override { return 0; }
  void OnFilesDropped(const xhav::FileList&) override {}
  void OnBrowserDestroyed() override;
  void OnBrowserCreated() override {}
  void OnBeforeBrowserClose() override {}
  void OnRenderProcessTemerate(int32_t, int32_t) override {}
  bool IsFilteredUrl(TnString*) override { return false; }
  void OnRevealFile(TnString*) override {}
  void OnPopup() override {}
  void OnWindowChange(int32_t) override {}
  bool OnInnerBusiness(const std::vector<std::u16string>&, void*) override { return false; }
  bool OnDragEnter() override { return false; }
  void GetEventDispatcher(std::shared_ptr<xhav::tnEventDispatcher>* out) override;

  // Stores the browser (empty when the window is gone) and attaches a non-empty one.
  void SetBrowserOnly(xhav::Browser* browser);
  xhav::Browser* browser() const { return browser_.load(); }

 private:
  // Cleared by the factory when the window is gone, while results may read it elsewhere.
  std::atomic<xhav::Browser*> browser_;

  TN_IMPLEMENT_UNKNOWN(IBrowserView, IID_IBrowserView);
};

}  // namespace tnwebui
