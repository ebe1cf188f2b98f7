#pragma once

// The bag of properties with which the host describes a view before it opens.

#include <atomic>
#include <string>

#include "base/live_count.h"
#include "base/unknown_impl.h"
#include "tnwebui/view.h"

namespace tnwebui {

class CBrowserViewSettingImpl final : public IBrowserViewSetting,
                                      public LiveCounted<CBrowserViewSettingImpl> {
 public:
  CBrowserViewSettingImpl() = default;

  BusinessCore* GetBusinessCore() override { return core_; }
  void SetBusinessCore(BusinessCore* core) override;
  HWND GetParentWindow() override { return parent_; }
  void SetParentWindow(HWND window) override { parent_ = window; }
  void GetRect(RECT* rect) override;
  void SetRect(RECT rect) override { rect_ = rect; }
  const char16_t* GetUrlText() override { return url_.c_str(); }
  void SetUrlText(const char16_t* url) override { url_ = url ? url : u""; }
  int32_t GetHostValueA() override { return hostValueA_; }
  void SetHostValueA(int32_t value) override { hostValueA_ = value; }
  int32_t GetHostValueB() override { return hostValueB_; }
  void SetHostValueB(int32_t value) override { hostValueB_ = value; }
  const char16_t* GetName() override { return name_.c_str(); }
  void SetName(const char16_t* name) override { name_ = name ? name : u""; }
  int32_t GetViewType() override { return viewType_; }
  void SetViewType(int32_t type) override { viewType_ = type; }
  const char* GetInitData() override { return initData_.c_str(); }
  void SetInitData(const char* json) override {
    if (json) initData_ = json;
  }
  int32_t GetFilterUrl() override { return filterUrl_; }
  void SetFilterUrl(int32_t value) override { filterUrl_ = value; }
  void* GetUserData() override { return userData_; }
  void SetUserData(void* data) override { userData_ = data; }
  int32_t GetHavFlagB() override { return havFlagB_; }
  void SetHavFlagB(int32_t value) override { havFlagB_ = value; }
  int32_t GetHostValueC() override { return hostValueC_; }
  void SetHostValueC(int32_t value) override { hostValueC_ = value; }
  int32_t GetResizable() override { return resizable_; }
  void SetResizable(int32_t value) override { resizable_ = value; }
  int32_t GetHideOnClose() override { return hideOnClose_; }
  void SetHideOnClose(int32_t value) override { hideOnClose_ = value; }
  int32_t GetHavFlagA() override { return havFlagA_; }
  void SetHavFlagA(int32_t value) override { havFlagA_ = value; }
  int32_t GetStartHidden() override { return startHidden_; }
  void SetStartHidden(int32_t value) override { startHidden_ = value; }
  int32_t GetTopCenter() override { return topCenter_; }
  void SetTopCenter(int32_t value) override { topCenter_ = value; }
  int32_t GetDelayShow() override { return delayShow_; }
  void SetDelayShow(int32_t value) override { delayShow_ = value; }
  HRESULT Reserved1(int32_t, int32_t) override { return S_OK; }
  HRESULT Reserved2(int32_t, int32_t) override { return S_OK; }
  HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) override { return S_OK; }

 private:
  ~CBrowserViewSettingImpl();

  BusinessCore* core_ = nullptr;
  HWND parent_ = nullptr;
  RECT rect_{0, 0, 0, 0};
  std::u16string url_;
  int32_t hostValueA_ = 1;
  int32_t hostValueB_ = 0;
  std::u16string name_;
  int32_t viewType_ = 0;
  std::string initData_;
  int32_t filterUrl_ = 1;
  void* userData_ = nullptr;
  int32_t havFlagB_ = 0;
  int32_t hostValueC_ = 0;
  int32_t resizable_ = 0;
  int32_t hideOnClose_ = 0;
  int32_t havFlagA_ = 0;
  int32_t startHidden_ = 1;
  int32_t topCenter_ = 0;
  int32_t delayShow_ = 0;

  TN_IMPLEMENT_UNKNOWN(IBrowserViewSetting, IID_IBrowserViewSetting);
};

}  // namespace tnwebui
