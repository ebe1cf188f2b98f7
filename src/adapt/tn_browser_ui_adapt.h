#pragma once

// The view as the client needs it: settings, business core, shadow, initial data and the
// window commands that depend on them.

#include <functional>
#include <string>
#include <vector>

#include "adapt/tn_browser_ui.h"
#include "adapt/tn_browser_ui_callback.h"
#include "tnbase/tn_string.h"

namespace tnwebui {

class TnBrowserAdaptUI : public TnBrowserUI {
 public:
  explicit TnBrowserAdaptUI(xhav::Browser* browser);
  ~TnBrowserAdaptUI() override;

  // xhav::BrowserNotify: the page's life cycle.
  void OnStateChanged(int32_t state) override;
  void OnPageLoaded(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                    TnString* url) override;
  void OnActiveChanged(bool active) override;
  bool OnClosing() override;
  void OnFilesDragged(const xhav::FileList& files) override;
  void OnNavigationState(int32_t index, int32_t count) override;
  int32_t OnBeforeNavigate(TnString* url) override;
  void OnFilesDropped(const xhav::FileList& files) override;
  void OnBrowserDestroyed() override;
  void OnBrowserCreated() override;
  void OnRenderProcessTemerate(int32_t reserved, int32_t status) override;
  bool IsFilteredUrl(TnString* url) override;
  void OnRevealFile(TnString* url) override;
  void OnPopup() override;
  bool OnInnerBusiness(const std::vector<std::u16string>& texts, void* callback) override;

  // The title bar of a framed window (type 4), made once.
  void CreateTitleWindow(int32_t height, int32_t width);
  // Chooses the title bar's share and link buttons from the settings' initial data.
  void ConfigureTitleButtons();
  // The title bar's favourite and share buttons, acting on the message the page was opened for.
  void CreateFavorite();
  void ShareMessage();
  // The title bar's back button: a light app's page that speaks to the JS SDK is asked first
  // (its "ui.onHistoryBack" handler decides); false when the page isn't such a page.
  virtual bool GoBackThroughPage() { return false; }
  // The address the window was opened with (the factory's); empty when it was not told.
  virtual std::string OpenAddress() const { return std::string(); }

  // Scheme and host of an address; false when it has no "scheme://host".
  static bool SplitUrl(const std::string& url, std::string* scheme, std::string* host);
  // Sets the cookies of "Set-Cookie" header values (a JSON array of objects) for `url`.
  void ApplySetCookieHeaders(const std::string& url, const std::string& text,
                             const std::string& space);

  // IBrowserView
  void SetPageHost(PageHost* host) override;
  // Runs on the UI thread; from any other thread it is posted there.
  void SetBusinessCore(BusinessCore* core) override;
  const char16_t* GetOrgKey() override;
  // The organisation's number, which its key spells in decimal; 0 without one.
  int32_t GetOrgId();
  int32_t IsRenderCrashed() override { return renderCrashed_ ? 1 : 0; }
  IBrowserViewCallback* GetCallback() override { return callback_; }
  const char16_t* GetName() override;
  int32_t GetViewType() override;
  void SetInitData(const char* json, int32_t apply) override;
  const char* GetInitData() override { return initData_.c_str(); }
  bool ProcessMessage(xhav::Browser* browser, int32_t source, TnString* name,
                      const std::vector<std::u16string>& texts) override;
  bool ProcessJsCommand(TnString* command) override;
  int32_t GetBusinessVersion() override;

  // Called once by the factory after the browser exists.
  virtual void Init(IBrowserViewSetting* settings);
  // Starts the window's shadow on the user-interface thread, once.
  void StartShadow();

  // A business action from the page: business, action, param, json, callback id.
  bool ExecuteFromRender(const std::vector<std::u16string>& texts);
  // The one door of business actions: the page's rights, the inner actions, then the core.
  // `arguments` holds param, json and callback id.
  void ExecuteBusinessAction(TnString* business, TnString* action,
                             CefRefPtr<CefListValue> arguments);
  // A call of the view's own native side: straight to the core, unchecked.
  void ProcessInnerBusiness(const std::vector<std::u16string>& texts,
                            IBrowserViewCallback* callback);
  // Whether the page may run this action.
  bool CheckAuth(TnString* business, TnString* action);
  // CheckAuth, with the error line when it refuses.
  bool Authorised(TnString* business, TnString* action);
  // ExecuteBusinessAction once its arguments are known to be the three texts.
  void ExecuteAuthorised(TnString* business, TnString* action, const std::u16string& param,
                         const std::u16string& json, const std::u16string& id);
  // Delivers a result (callback id, code, data) to the page. Callable from any thread.
  void ExeBusinessActionCallback(TnString* business, TnString* action,
                                 CefRefPtr<CefListValue> result);
  void SendInitData(TnString* business, TnString* action, TnString* callbackId,
                    const std::string& data);
  // Cookies of the page's account.
  void SetCookies(const std::string& json, const std::string& space);
  void DeleteCookies(TnString* business, TnString* action, const std::string& callbackId,
                     const std::string& json, const std::string& space);
  // The save dialog for a download that the core asks for.
  void OpenSaveAsWnd(TnString* business, TnString* action, CefRefPtr<CefListValue> result);
  // Tells the user whether a favourite was made.
  void ShowFavoriteTip(bool created);
  // Puts the session's cookies from the initial data into the browser.
  void SetInitialCookies();
  // Whether new initial data with an address makes the view load it.
  bool BeforeReload(const std::u16string& url);
  void ApplyAlwaysOnTop();

  // The cookie space of an account: the MD5 of the organisation key (as UTF-8) followed by
  // the account key; empty without a core or with empty keys.
  static std::string CookieSpaceOf(BusinessCore* core);

  IBrowserViewSetting* settings() const { return settings_; }
  xhav::BrowserTitleWindow* title_window() const { return titleWindow_; }
  BusinessCore* business_core() const { return businessCore_; }

 protected:
  // Runs `task` on the UI thread later; the view stays alive until it has run.
  void PostHoldingView(std::function<void()> task);

  std::string currentUrl_;
  std::string initData_;
  PageHost* pageHost_ = nullptr;
  BusinessCore* businessCore_ = nullptr;
  IBrowserViewSetting* settings_ = nullptr;
  TnBrowserAdaptCallback* callback_ = nullptr;
  WindowShadow* shadow_ = nullptr;
  bool renderCrashed_ = false;
  // The popup views that this view's page made (hav identifiers): they close with it, and
  // a page has at most kMaxPopups of them open (UI thread).
  static constexpr std::size_t kMaxPopups = 4;
  std::vector<int32_t> popups_;
  void ClosePopups();
  std::vector<std::u16string> dragFiles_;

 private:
  void ExecuteOnCore(TnString* business, TnString* action, const std::u16string& param,
                     const std::u16string& json, const std::u16string& id);
  void AnswerFailure(TnString* business, TnString* action, const std::string& callbackId,
                     HRESULT status);
  // Runs a business action of the view's own making: three texts param, json, callback id.
  void ExecuteOwnAction(const char* business, const char* action, const std::string& param,
                        const std::string& json, const std::string& callbackId);
  // "TnMain", the client's main view, by its exact name.
  bool IsMainView();

 protected:
  tnbase::TnStringPtr initBusiness_;
  tnbase::TnStringPtr initAction_;
  tnbase::TnStringPtr initCallback_;
  xhav::BrowserTitleWindow* titleWindow_ = nullptr;
};

}  // namespace tnwebui
