// The in-process engine's browsers: a window of the window model per browser, its calls
// recorded for tests, its page's address, history, scripts and cookies.

#include <mutex>

#include "hav/inproc_engine.h"
#include "host_browser.h"
#include "inproc_browser_param.h"
#include "navigation_rule.h"
#include "system_command.h"
#include "tnbase/logger.h"
#include "window_news.h"

namespace xhav::inproc {

void PlaceBrowserWindow(HWND hwnd, const BrowserParamRecord& param) {
  if (param.width <= 0 || param.height <= 0) return;
  int width = param.width, height = param.height;
  if (param.viewType == 4) {
    const int dpi = win::GetDeviceCaps(win::LOGPIXELSX);
    width = param.scaledWidth > 0 ? param.scaledWidth : win::MulDiv(width, dpi, 96);
    height = param.scaledHeight > 0 ? param.scaledHeight : win::MulDiv(height, dpi, 96);
  }
  win::SetWindowPos(hwnd, nullptr, param.left, param.top, width, height, win::SWP_NOZORDER);
}

BrowserParam* NewBrowserParamFrom(const BrowserParamRecord& record) {
  return new BrowserParamImpl(record);
}

BrowserImpl::BrowserImpl(Engine* engine, int id, std::string url, const BrowserParamRecord& param,
                         BrowserNotify* notify)
    : engine_(engine),
      id_(id),
      param_(param),
      notify_(notify),
      host_(new HostBrowser(
          id,
          [engine, id](CefRefPtr<CefProcessMessage> m) { return engine->SendToRenderer(id, m); })),
      url_(std::move(url)) {
  news_ = std::make_unique<WindowNews>();
  hwnd_ = win::CreateWindowModel(
      "HavWindowClassName", param.parent, [this](HWND, const win::PostedMessage& m) {
        switch (m.message) {
          case win::WM_CLOSE:
            // The user's or the host's close asks the view first.
            if (alive_ && !(notify_ && notify_->OnClosing())) FinishClose();
            break;
          case win::WM_SIZE:
            if (placed_ && alive_ && notify_) news_->Sized(notify_, m.wParam);
            break;
          case win::WM_ACTIVATE:
            // Told on the UI thread, after whatever activated it
            // (the host may hold its own locks while it shows a
            // window).
            engine_->ui().PostTask([this, active = m.wParam != win::WA_INACTIVE] {
              if (alive_ && notify_) news_->Activated(notify_, active);
            });
            break;
          case win::WM_SYSCOMMAND:
            if (alive_) RunSystemCommand(this, m.wParam);
            break;
        }
      });
  win::SetWindowTextW(hwnd_, tnbase::TnStringPtr::FromUTF8(param.title)->GetData());
  PlaceBrowserWindow(hwnd_, param);
  hostWindow_ = win::CreateWindowModel("HavBrowserHost", hwnd_, nullptr);
  win::ShowWindow(hostWindow_, win::SW_SHOWWINDOW);
  static_cast<HostBrowser*>(host_.get())->SetHostWindow(hostWindow_);
  if (!param.startHidden) win::ShowWindow(hwnd_, win::SW_SHOWWINDOW);
  placed_ = true;  // from here on a change of size is news for the view
}

BrowserImpl::~BrowserImpl() {
  if (hwnd_) win::DestroyWindow(hwnd_);
  if (settings_) settings_->Destroy();
}

void BrowserImpl::Record(std::string call) {
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(std::move(call));
}

bool BrowserImpl::GetProperty(int32_t id, void** out) {
  if (!out) return false;
  *out = nullptr;
  if (id == kPropertyEngineBrowser && alive_) {
    *out = host_.get();
    return true;
  }
  if (id == kPropertyBusinessChannel && alive_) {
    *out = engine_->business_channel();
    return *out != nullptr;
  }
  if (id == kPropertySettings && alive_) {
    if (!settings_) settings_ = NewBrowserParamFrom(param_);
    *out = settings_;
    return true;
  }
  return false;
}

void BrowserImpl::GoBack() { Record("GoBack"); }

void BrowserImpl::Reload() { Record("Reload"); }

void BrowserImpl::Show(bool show) {
  Record(show ? "Show(1)" : "Show(0)");
  if (alive_) win::ShowWindow(hwnd_, show ? win::SW_SHOWWINDOW : win::SW_HIDE);
}

void BrowserImpl::Minimize() {
  Record("Minimize");
  if (alive_) win::ShowWindow(hwnd_, win::SW_MINIMIZE);
}

void BrowserImpl::Maximize() {
  Record("Maximize");
  if (alive_) win::ShowWindow(hwnd_, win::SW_MAXIMIZE);
}

void BrowserImpl::Restore() {
  Record("Restore");
  if (alive_) win::ShowWindow(hwnd_, win::SW_RESTORE);
}

void BrowserImpl::SetTopMost(bool topMost) { Record(topMost ? "SetTopMost(1)" : "SetTopMost(0)"); }

void BrowserImpl::Close(int32_t force) {
  Record("Close(" + std::to_string(force) + ")");
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closing_ || !alive_) return;
    closing_ = true;
  }
  // hav closes on its user-interface thread, after the caller has returned.
  engine_->ui().PostTask([this] { FinishClose(); });
}

void BrowserImpl::FinishClose() {
  if (!alive_.exchange(false)) return;
  if (notify_) notify_->OnBeforeBrowserClose();
  win::DestroyWindow(hwnd_);
  hwnd_ = nullptr;
  news_->Closed();
  if (notify_) notify_->OnBrowserDestroyed();
  if (page_) {
    page_.reset();
  } else {
    engine_->transport_->SendControl({Control::kClosePage, id_, std::string()});
  }
}

void BrowserImpl::MoveWindow(int32_t x, int32_t y, int32_t width, int32_t height) {
  Record("MoveWindow");
  if (alive_) win::SetWindowPos(hwnd_, nullptr, x, y, width, height, win::SWP_NOZORDER);
}

void BrowserImpl::Animate(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e) {
  Record("Animate(" + std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(c) + "," +
         std::to_string(d) + "," + std::to_string(e) + ")");
}

void BrowserImpl::AddHandler(const char* address, HandlerCreator* creator) {
  Record(std::string("AddHandler(") + (address ? address : "") + ")");
  handlers_.Add(address, creator);
}

void BrowserImpl::RemoveHandler(const char* address) {
  Record(std::string("RemoveHandler(") + (address ? address : "") + ")");
  handlers_.Remove(address);
}

TnString* BrowserImpl::GetUrl() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (url_.empty()) return nullptr;
  return allocStringFromUTF8(url_.data(), static_cast<int32_t>(url_.size()));
}

void BrowserImpl::LoadUrl(const char* url) {
  Record(std::string("LoadUrl(") + (url ? url : "") + ")");
  Go(url ? url : "", false);
}

void BrowserImpl::Navigate(const std::string& url) { Go(url, true); }

void BrowserImpl::DragFiles(const FileList& files, bool drop) {
  engine_->ui().PostTask([this, files, drop] {
    if (!alive_ || !notify_) return;
    const bool takenByPage = notify_->OnDragEnter();
    if (!drop || takenByPage || files.empty()) return;
    notify_->OnFilesDragged(files);
    if (alive_) notify_->OnFilesDropped(files);
  });
}

void BrowserImpl::Go(const std::string& url, bool pageStarted) {
  engine_->ui().PostTask([this, url, pageStarted] {
    if (!alive_) return;
    const NavigationAnswer answer =
        AskBeforeNavigating(notify_, url, pageStarted, engine_->client_web_domain());
    if (answer == NavigationAnswer::kLoad) {
      Load(url);
      return;
    }
    Record("Stayed(" + url + ")");
    const std::string line = "browser " + std::to_string(id_) +
                             ": the view stays on its page: " + url + " is " +
                             NavigationAnswerText(answer);
    logger_write(kTnLogInfo, __FILE__, __LINE__, "BrowserImpl::Navigate", line.data(), line.size());
  });
}

void BrowserImpl::Load(const std::string& url) {
  engine_->ui().PostTask([this, url] {
    if (!alive_) return;
    int32_t index, count;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      url_ = url;
      history_.push_back(url);
      count = static_cast<int32_t>(history_.size());
      index = count - 1;
    }
    if (!notify_) return;
    tnbase::TnStringPtr text = tnbase::TnStringPtr::FromUTF8(url);
    notify_->OnPageLoaded(host_, nullptr, text.get());
    if (alive_) notify_->OnNavigationState(index, count);
  });
}

void BrowserImpl::ExecuteJavaScript(CefRefPtr<CefBrowser>, CefRefPtr<CefFrame>,
                                    const char16_t* script) {
  tnbase::TnStringPtr text(allocStringFromWideChars(script));
  Record("ExecuteJavaScript");
  std::string utf8 = text->ToUTF8();
  engine_->scriptTrace_(id_, utf8);
  std::lock_guard<std::mutex> lock(mutex_);
  scripts_.push_back(std::move(utf8));
}

std::vector<std::string> BrowserImpl::scripts() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return scripts_;
}

void BrowserImpl::SetTitle(const char16_t* title) {
  tnbase::TnStringPtr t(allocStringFromWideChars(title));
  Record("SetTitle(" + t->ToUTF8() + ")");
  win::SetWindowTextW(hwnd_, title ? title : u"");
  std::lock_guard<std::mutex> lock(mutex_);
  title_ = t->ToUTF8();
}

void BrowserImpl::SetInitialData(const char* json) {
  Record("SetInitialData");
  std::lock_guard<std::mutex> lock(mutex_);
  initialData_ = json ? json : "";
}

void BrowserImpl::Attach() { Record("Attach"); }

void BrowserImpl::SetCookie(TnString* address, TnString* name, TnString* value, TnString* space) {
  Record("SetCookie");
  std::lock_guard<std::mutex> lock(mutex_);
  cookies_[Utf8(space)][Utf8(address) + " " + Utf8(name)] = Utf8(value);
}

void BrowserImpl::DeleteCookie(TnString* address, TnString* name, TnString* space) {
  Record("DeleteCookie");
  std::lock_guard<std::mutex> lock(mutex_);
  cookies_[Utf8(space)].erase(Utf8(address) + " " + Utf8(name));
}

std::vector<std::string> BrowserImpl::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

std::string BrowserImpl::url() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return url_;
}

std::string BrowserImpl::title() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return title_;
}

std::string BrowserImpl::initialData() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return initialData_;
}

std::map<std::string, std::map<std::string, std::string>> BrowserImpl::cookies() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return cookies_;
}

}  // namespace xhav::inproc
