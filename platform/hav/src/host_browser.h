#pragma once

#include <functional>
#include <utility>

#include "cef/cef_browser.h"

namespace xhav::inproc {

// The native window that holds a page, as the browser side's host reports it.
class Host final : public CefBrowserHost {
 public:
  explicit Host(HWND__* hwnd) : hwnd_(hwnd) {}
  HWND__* GetWindowHandle() override { return hwnd_; }

 private:
  HWND__* hwnd_;
  IMPLEMENT_REFCOUNTING(Host);
};

// An engine's browser object on the browser side. It only carries messages to the render side
// (through `send`); the page's own operations belong to the engine's browser.
class HostBrowser final : public CefBrowser {
 public:
  using Send = std::function<bool(CefRefPtr<CefProcessMessage>)>;
  HostBrowser(int id, Send send) : id_(id), send_(std::move(send)) {}
  void SetHostWindow(HWND__* hwnd) { host_ = new Host(hwnd); }
  CefRefPtr<CefBrowserHost> GetHost() override { return host_; }
  int GetIdentifier() override { return id_; }
  bool IsSame(CefRefPtr<CefBrowser> that) override { return that && that->GetIdentifier() == id_; }
  void Reload() override {}
  void GoBack() override {}
  void GoForward() override {}
  bool CanGoBack() override { return false; }
  bool CanGoForward() override { return false; }
  CefRefPtr<CefFrame> GetMainFrame() override { return nullptr; }
  bool SendProcessMessage(CefProcessId target, CefRefPtr<CefProcessMessage> message) override {
    return target == PID_RENDERER && message && send_(message);
  }

 private:
  const int id_;
  const Send send_;
  CefRefPtr<CefBrowserHost> host_;
  IMPLEMENT_REFCOUNTING(HostBrowser);
};

}  // namespace xhav::inproc
