#pragma once

/// \file
/// The browser factory's interface, handed out by CreateInterface.

#include "tnwebui/module.h"
#include "tnwebui/services.h"
#include "tnwebui/unknown.h"
#include "tnwebui/view.h"

namespace xhav {
class BrowserParam;
}
namespace interdata {
class WindowProperty;
}

/// {781CB666-7AE7-46B3-B514-D9CCBE621FB6}
constexpr GUID IID_ITnWebUI = {
    0x781CB666, 0x7AE7, 0x46B3, {0xB5, 0x14, 0xD9, 0xCC, 0xBE, 0x62, 0x1F, 0xB6}};

/// The browser factory: the one object through which the host opens web content. It keeps
/// every open window of the process. Addresses are UTF-8, names wide.
class ITnWebUI : public IUnknown {
 public:
  /// Does nothing; 0.
  virtual HRESULT Initialize(uint32_t value) = 0;
  /// Does nothing; 0.
  virtual HRESULT Uninitialize() = 0;
  /// Opens `url` in a new view made from `settings`, or, when a view of the settings' name is
  /// open, hands its initial data to it and brings it forward. The view, with a reference for
  /// the caller, in `out`.
  virtual HRESULT CreateBrowserView(const char* url, IBrowserViewSetting* settings,
                                    IBrowserView** out) = 0;
  /// A new, empty settings object with a reference for the caller (E_INVALIDARG for a null
  /// `out`).
  virtual HRESULT CreateBrowserViewSetting(IBrowserViewSetting** out) = 0;
  /// Closes every window of an organisation: `name` is a view's organisation key, or
  /// "tn.org.N" for light windows (case ignored). Resident windows (types 1 and 2) stay.
  virtual HRESULT CloseBrowsersOfName(const char16_t* name) = 0;
  /// Does nothing; 0.
  virtual HRESULT GetDefaultView() = 0;
  /// The open view named `name` (case ignored), with a reference for the caller;
  /// E_NOINTERFACE when there is none. Light windows are not found here.
  virtual HRESULT FindBrowserView(const char16_t* name, IBrowserView** out) = 0;
  virtual HRESULT Reserved1(int32_t, int32_t) = 0;
  virtual HRESULT Reserved2(int32_t, int32_t) = 0;
  virtual HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) = 0;
  /// Light windows: opens `url` in a light window named `name`; while one of that name is
  /// open, nothing more happens. The shorter forms fill in an empty name, parameter object and
  /// property.
  virtual HRESULT CreateLightBrowser(int32_t first, const char* url, xhav::BrowserParam* third) = 0;
  virtual HRESULT CreateLightBrowser(int32_t first, const char* name, const char* url,
                                     xhav::BrowserParam* param,
                                     const interdata::WindowProperty* property) = 0;
  virtual HRESULT CreateLightBrowser(int32_t first, const char* name, const char* url,
                                     xhav::BrowserParam* param) = 0;
  virtual HRESULT CreateLightBrowser(int32_t first, const char* name, const char* url) = 0;

 protected:
  ~ITnWebUI() = default;
};
