#pragma once

// A hav browser that does nothing but own a native window and count the scripts, backs and
// reloads it is given: for benchmarks, fuzzers and tests that drive the module without an
// engine.

#include "hav/hav.h"
#include "win/window.h"

namespace xhav {

class NullBrowser final : public Browser {
 public:
  NullBrowser() : window_(win::CreateWindowModel("NullBrowser", nullptr, nullptr)) {}
  ~NullBrowser() override { win::DestroyWindow(window_); }
  bool GetProperty(int32_t id, void** out) override {
    if (id != kPropertyBusinessChannel || !channel) return false;
    *out = channel;
    return true;
  }
  void Show(bool) override {}
  void Minimize() override {}
  void Maximize() override {}
  void Restore() override {}
  void SetTopMost(bool) override {}
  void Close(int32_t) override {}
  HWND GetWindowHandle() override { return window_; }
  void MoveWindow(int32_t, int32_t, int32_t, int32_t) override {}
  void Animate(int32_t, int32_t, int32_t, int32_t, int32_t) override {}
  void AddHandler(const char*, HandlerCreator*) override {}
  void RemoveHandler(const char*) override {}
  int32_t GetId() override { return 1; }
  TnString* GetUrl() override { return url.empty() ? nullptr : allocStringFromUTF8(url.c_str()); }
  void LoadUrl(const char*) override {}
  void SetTitle(const char16_t*) override {}
  void SetInitialData(const char*) override {}
  void Attach() override {}
  void SetCookie(TnString*, TnString*, TnString*, TnString*) override {}
  void DeleteCookie(TnString*, TnString*, TnString*) override {}
  void ExecuteJavaScript(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame>, const char16_t*) override {
    ++scripts;
  }
  void GoBack() override { ++backs; }
  void Reload() override { ++reloads; }
  long scripts = 0, backs = 0, reloads = 0;
  std::string url;                     // what GetUrl gives; empty: none
  BusinessChannel* channel = nullptr;  // property 21; none unless set

 private:
  HWND window_;
};

}  // namespace xhav
