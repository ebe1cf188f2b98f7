#pragma once

/// \file
/// Views and their settings, and the host objects a view works with. Virtual operations stand
/// in slot order; unnamed slots keep their places.

#include <cstdint>
#include <string>
#include <vector>

#include "tnwebui/unknown.h"

class TnString;
namespace xhav {
class Browser;
}

class IBrowserView;
class IBrowserViewCallback;

/// {0F71F90B-C693-4277-8846-903247920F36}
constexpr GUID IID_IBrowserViewSetting = {
    0x0F71F90B, 0xC693, 0x4277, {0x88, 0x46, 0x90, 0x32, 0x47, 0x92, 0x0F, 0x36}};
/// {A899B173-7B22-4302-B10F-674B74F11E8B}
constexpr GUID IID_IBrowserView = {
    0xA899B173, 0x7B22, 0x4302, {0xB1, 0x0F, 0x67, 0x4B, 0x74, 0xF1, 0x1E, 0x8B}};
/// {8D87C60F-99D8-49FC-A419-6937844FEA51}
constexpr GUID IID_IBrowserViewCallback = {
    0x8D87C60F, 0x99D8, 0x49FC, {0xA4, 0x19, 0x69, 0x37, 0x84, 0x4F, 0xEA, 0x51}};
/// {84FA3903-2A3A-4A1D-9067-4AF47FD2AD18}: the shadow object of a window, from the core.
constexpr GUID IID_WindowShadow = {
    0x84FA3903, 0x2A3A, 0x4A1D, {0x90, 0x67, 0x4A, 0xF4, 0x7F, 0xD2, 0xAD, 0x18}};

/// The drop shadow that follows a window.
class WindowShadow : public IUnknown {
 public:
  virtual void AttachWindow(HWND window) = 0;
  virtual void Reserved5() = 0;  ///< its slot stays; nothing here calls it
  virtual void UpdateShadow() = 0;
  virtual void ShowShadow(int32_t show) = 0;
  virtual void DetachWindow() = 0;
  virtual void SetShadowMode(int32_t mode) = 0;

 protected:
  ~WindowShadow() = default;
};

/// The host's object for the business core. Texts are zero-terminated.
class BusinessCore : public IUnknown {
 public:
  virtual void NotifyCrash() = 0;
  /// Takes a business action; the result comes later through the callback. Negative: failure.
  virtual HRESULT ExecuteBusinessAction(const char16_t* business, const char16_t* action,
                                        const char16_t* param, const char16_t* json,
                                        const char16_t* callbackId,
                                        IBrowserViewCallback* callback) = 0;
  virtual void OnViewClosed(IBrowserView* view) = 0;
  virtual const char* GetAccountKey() = 0;  ///< UTF-8
  virtual const char16_t* GetOrgKey() = 0;  ///< wide
  virtual HRESULT QueryObject(const GUID& id, void** out) = 0;
  virtual int32_t GetBusinessVersion() = 0;
  /// The chat `chatId` (UTF-8) as JSON ("chatName", "avatarId", ...), a text the caller
  /// releases; null when the core doesn't know it.
  virtual TnString* GetChatInfo(const char* chatId) = 0;
  /// The view that the core keeps under `name` (its main page is "TnMain"), with a reference
  /// for the caller; E_FAIL and null when there is none.
  virtual HRESULT GetBrowserView(const char16_t* name, IBrowserView** out) = 0;

 protected:
  ~BusinessCore() = default;
};

/// The second way to the business core, for embedded pages (views of type 2).
class PageHost {
 public:
  virtual HRESULT ExecuteBusinessAction(const char16_t* business, const char16_t* action,
                                        const char16_t* json, const char16_t* callbackId,
                                        IBrowserViewCallback* callback) = 0;
  virtual void OnClosed() = 0;
  virtual HRESULT CreateShadow(WindowShadow** out) = 0;

 protected:
  ~PageHost() = default;
};

/// The properties with which the host describes a view before it opens.
class IBrowserViewSetting : public IUnknown {
 public:
  virtual BusinessCore* GetBusinessCore() = 0;
  virtual void SetBusinessCore(BusinessCore* core) = 0;
  virtual HWND GetParentWindow() = 0;
  virtual void SetParentWindow(HWND window) = 0;
  virtual void GetRect(RECT* rect) = 0;
  virtual void SetRect(RECT rect) = 0;
  virtual const char16_t* GetUrlText() = 0;
  virtual void SetUrlText(const char16_t* url) = 0;
  virtual int32_t GetHostValueA() = 0;
  virtual void SetHostValueA(int32_t value) = 0;
  virtual int32_t GetHostValueB() = 0;
  virtual void SetHostValueB(int32_t value) = 0;
  virtual const char16_t* GetName() = 0;
  virtual void SetName(const char16_t* name) = 0;
  virtual int32_t GetViewType() = 0;
  virtual void SetViewType(int32_t type) = 0;
  virtual const char* GetInitData() = 0;
  virtual void SetInitData(const char* json) = 0;
  virtual int32_t GetFilterUrl() = 0;
  virtual void SetFilterUrl(int32_t value) = 0;
  virtual void* GetUserData() = 0;
  virtual void SetUserData(void* data) = 0;
  virtual int32_t GetHavFlagB() = 0;
  virtual void SetHavFlagB(int32_t value) = 0;
  virtual int32_t GetHostValueC() = 0;
  virtual void SetHostValueC(int32_t value) = 0;
  virtual int32_t GetResizable() = 0;
  virtual void SetResizable(int32_t value) = 0;
  virtual int32_t GetHideOnClose() = 0;
  virtual void SetHideOnClose(int32_t value) = 0;
  virtual int32_t GetHavFlagA() = 0;
  virtual void SetHavFlagA(int32_t value) = 0;
  virtual int32_t GetStartHidden() = 0;
  virtual void SetStartHidden(int32_t value) = 0;
  virtual int32_t GetTopCenter() = 0;
  virtual void SetTopCenter(int32_t value) = 0;
  virtual int32_t GetDelayShow() = 0;
  virtual void SetDelayShow(int32_t value) = 0;
  virtual HRESULT Reserved1(int32_t, int32_t) = 0;
  virtual HRESULT Reserved2(int32_t, int32_t) = 0;
  virtual HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) = 0;

 protected:
  ~IBrowserViewSetting() = default;
};

/// The object through which results of the business core return to a view.
class IBrowserViewCallback : public IUnknown {
 public:
  /// The result of a business action the view asked for: it goes to the page's callback
  /// `callbackId` (business and action in lower case), unless the view has gone.
  virtual void OnBusinessResult(const char16_t* business, const char16_t* action,
                                const char16_t* callbackId, int32_t code, const char16_t* data) = 0;
  /// The view the results go to; null once detached.
  virtual IBrowserView* GetView() = 0;
  /// Forgets the view: later results go nowhere.
  virtual void Detach() = 0;
  virtual HRESULT Reserved1(int32_t, int32_t) = 0;
  virtual HRESULT Reserved2(int32_t, int32_t) = 0;
  virtual HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) = 0;

 protected:
  ~IBrowserViewCallback() = default;
};

/// What the host holds for one page window.
class IBrowserView : public IUnknown {
 public:
  /// Does nothing.
  virtual void SetParentFrame(uint32_t value) = 0;
  /// Always 1.
  virtual int32_t IsReady() = 0;
  /// The second way to a business core, for views of type 2; starts the window's shadow.
  virtual void SetPageHost(PageHost* host) = 0;
  /// Replaces the view's business core (the view keeps a reference); with settings, also
  /// starts the shadow and shows the window.
  virtual void SetBusinessCore(BusinessCore* core) = 0;
  /// The organisation key of the view's business core; empty without one.
  virtual const char16_t* GetOrgKey() = 0;
  /// 1 once a render process of the view has ended.
  virtual int32_t IsRenderCrashed() = 0;
  /// The view's native window; null without a browser.
  virtual HWND GetHwnd() = 0;
  virtual void Show(int32_t show) = 0;
  virtual void SetAlwaysTop(int32_t top) = 0;
  /// Does nothing.
  virtual void SetViewOptionA(uint32_t value) = 0;
  /// Does nothing.
  virtual void SetViewOptionB(uint32_t value) = 0;
  /// The view's callback for business results, without a reference for the caller.
  virtual IBrowserViewCallback* GetCallback() = 0;
  /// The name and the type from the view's settings (empty and 0 without settings).
  virtual const char16_t* GetName() = 0;
  virtual int32_t GetViewType() = 0;
  /// Stores the page's initial data (an object gets "osType": 0). With `apply`, hands it to
  /// the page's "InitFinished" callback again, loads its "url" when it has one, and applies
  /// the always-on-top setting.
  virtual void SetInitData(const char* json, int32_t apply) = 0;
  virtual const char* GetInitData() = 0;
  virtual HRESULT Reserved1() = 0;
  virtual HRESULT Reserved2() = 0;
  virtual HRESULT Reserved3() = 0;
  virtual ~IBrowserView() = default;
  /// A process message from the page: its string elements as wide texts.
  /// No texts: the window command `name`; five: a business action; other counts: false.
  virtual bool ProcessMessage(xhav::Browser* browser, int32_t source, TnString* name,
                              const std::vector<std::u16string>& texts) = 0;
  /// A window command of the page ("closewnd", "minwnd", "maxwnd", "restorewnd",
  /// "forceclosewnd"); false for another.
  virtual bool ProcessJsCommand(TnString* command) = 0;
  /// False.
  virtual bool IsSpecial() = 0;
  /// The business core's version; 0 without a core.
  virtual int32_t GetBusinessVersion() = 0;
};
