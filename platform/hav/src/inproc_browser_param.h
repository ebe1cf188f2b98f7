#pragma once

// The in-process engine's browser parameters: what a host sets on them, recorded in a
// BrowserParamRecord that the engine's browsers are made from.

#include <string>

#include "hav/inproc_engine.h"

namespace xhav::inproc {

inline std::string Utf8(TnString* s) { return s ? s->ToUTF8() : std::string(); }

class BrowserParamImpl final : public BrowserParam {
 public:
  void Destroy() override { delete this; }
  void SetPopupOption(int32_t v) override { Set("SetPopupOption", r_.popupOption, v); }
  void SetWidth(int32_t v) override { Set("SetWidth", r_.width, v); }
  void SetHeight(int32_t v) override { Set("SetHeight", r_.height, v); }
  void SetScaledSize(int32_t w, int32_t h) override {
    r_.calls.push_back("SetScaledSize");
    r_.scaledWidth = w;
    r_.scaledHeight = h;
  }
  void SetShowTitleBar(bool v) override { Set("SetShowTitleBar", r_.showTitleBar, v); }
  void SetStartHidden(bool v) override { Set("SetStartHidden", r_.startHidden, v); }
  void SetHavFlagA(bool v) override { Set("SetHavFlagA", r_.havFlagA, v); }
  void SetHavFlagB(bool v) override { Set("SetHavFlagB", r_.havFlagB, v); }
  void SetTopCenter(bool v) override { Set("SetTopCenter", r_.topCenter, v); }
  void SetTitle(TnString* v) override { Set("SetTitle", r_.title, Utf8(v)); }
  void SetResizable(bool v) override { Set("SetResizable", r_.resizable, v); }
  void SetOpenMaximized(bool v) override { Set("SetOpenMaximized", r_.openMaximized, v); }
  void SetLeft(int32_t v) override { Set("SetLeft", r_.left, v); }
  void SetTop(int32_t v) override { Set("SetTop", r_.top, v); }
  void SetViewType(int32_t v) override { Set("SetViewType", r_.viewType, v); }
  void SetParentWindow(HWND v) override { Set("SetParentWindow", r_.parent, v); }
  void SetCookieSpace(TnString* v) override { Set("SetCookieSpace", r_.cookieSpace, Utf8(v)); }
  void SetHideOnClose(bool v) override { Set("SetHideOnClose", r_.hideOnClose, v); }
  void SetName(TnString* v) override { Set("SetName", r_.name, Utf8(v)); }
  void SetPlaced(bool v) override { Set("SetPlaced", r_.placed, v); }
  void SetAnimation(bool v) override { Set("SetAnimation", r_.animation, v); }
  bool GetShowTitleBar() override { return r_.showTitleBar; }
  bool GetStartHidden() override { return r_.startHidden; }
  TnString* GetTitle() override {
    if (!title_) title_ = tnbase::TnStringPtr::FromUTF8(r_.title);
    return title_.get();
  }
  int32_t GetViewType() override { return r_.viewType; }

  BrowserParamImpl() = default;
  explicit BrowserParamImpl(const BrowserParamRecord& record) : r_(record) {}
  const BrowserParamRecord& record() const { return r_; }

 private:
  ~BrowserParamImpl() override = default;
  template <typename T>
  void Set(const char* call, T& field, T value) {
    r_.calls.push_back(call);
    field = std::move(value);
  }
  BrowserParamRecord r_;
  tnbase::TnStringPtr title_;
};

}  // namespace xhav::inproc
