#pragma once

// The interfaces of hav, the client's host library round the browser engine, as the module
// sees them. Virtual operations stand in the order of their slots.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <typeinfo>
#include <vector>

#include "cef/cef_browser.h"
#include "cef/cef_task.h"
#include "cef/cef_v8.h"
#include "tnbase/tn_string.h"
#include "win/window.h"

#define HAV_API __attribute__((visibility("default")))

class IBrowserViewCallback;

namespace xhav {

// GetProcessType() of a render process.
constexpr int kProcessTypeBrowser = 1;
constexpr int kProcessTypeRender = 2;

class ArgList;
class HandlerCreator;
class tnEventDispatcher;

using FileList = std::vector<std::u16string>;

// The browser call by which a page's JS bridge hands over its queued messages.
constexpr char kFetchJSMessage[] = "havFetchJSMessage";

// Numbers of Browser::GetProperty.
constexpr int32_t kPropertyEngineBrowser = 18;
constexpr int32_t kPropertySettings = 19;
constexpr int32_t kPropertyBusinessChannel = 21;

// Five wide texts: business, action, "0", JSON, "0".
using BusinessParams = std::vector<std::u16string>;

// The host's business channel of a browser (GetProperty(21)): the way from a page's SDK to the
// client's own user interface. The host answers through `callback` (which may be null) on the
// browser's UI thread, holding a reference to it until its last answer.
class HAV_API BusinessChannel {
 public:
  virtual void ExecuteBusiness(const BusinessParams& params, IBrowserViewCallback* callback) = 0;

 protected:
  virtual ~BusinessChannel() = default;
};

// The description of a browser window to be made. Setters stand in slot order.
class HAV_API BrowserParam {
 public:
  virtual void Destroy() = 0;
  virtual void SetPopupOption(int32_t option) = 0;
  virtual void SetWidth(int32_t width) = 0;
  virtual void SetHeight(int32_t height) = 0;
  virtual void SetScaledSize(int32_t width, int32_t height) = 0;
  virtual void SetShowTitleBar(bool show) = 0;
  virtual void SetStartHidden(bool hidden) = 0;
  virtual void SetHavFlagA(bool flag) = 0;
  virtual void SetHavFlagB(bool flag) = 0;
  virtual void SetTopCenter(bool flag) = 0;
  virtual void SetTitle(TnString* title) = 0;
  virtual void SetResizable(bool resizable) = 0;
  virtual void SetOpenMaximized(bool maximized) = 0;
  virtual void SetLeft(int32_t left) = 0;
  virtual void SetTop(int32_t top) = 0;
  virtual void SetViewType(int32_t type) = 0;
  virtual void SetParentWindow(HWND parent) = 0;
  virtual void SetCookieSpace(TnString* space) = 0;
  virtual void SetHideOnClose(bool hide) = 0;
  virtual void SetName(TnString* name) = 0;
  // The window stands where left and top say, not where hav would place it.
  virtual void SetPlaced(bool placed) = 0;
  // The window appears with an animation.
  virtual void SetAnimation(bool animation) = 0;
  // What was set, for the view of the window made with it (GetProperty(19)).
  virtual bool GetShowTitleBar() = 0;
  virtual bool GetStartHidden() = 0;
  // Owned by the object; null when no title was set.
  virtual TnString* GetTitle() = 0;
  virtual int32_t GetViewType() = 0;

 protected:
  virtual ~BrowserParam() = default;
};

// A browser window of hav. Not reference counted: hav owns it until its window is gone.
class HAV_API Browser {
 public:
  // An object of the browser by number (18: the engine's browser; 19: the settings; 21: the
  // host's business channel). False when there is none.
  virtual bool GetProperty(int32_t id, void** out) = 0;
  virtual void Show(bool show) = 0;
  virtual void Minimize() = 0;
  virtual void Maximize() = 0;
  virtual void Restore() = 0;
  virtual void SetTopMost(bool topMost) = 0;
  virtual void Close(int32_t force) = 0;
  virtual HWND GetWindowHandle() = 0;
  virtual void MoveWindow(int32_t x, int32_t y, int32_t width, int32_t height) = 0;
  virtual void Animate(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e) = 0;
  virtual void AddHandler(const char* address, HandlerCreator* creator) = 0;
  virtual void RemoveHandler(const char* address) = 0;
  virtual int32_t GetId() = 0;
  // The current address, as a new text that the caller releases; null when there is none.
  virtual TnString* GetUrl() = 0;
  virtual void LoadUrl(const char* url) = 0;
  virtual void SetTitle(const char16_t* title) = 0;
  virtual void SetInitialData(const char* json) = 0;
  virtual void Attach() = 0;
  virtual void SetCookie(TnString* address, TnString* name, TnString* value, TnString* space) = 0;
  virtual void DeleteCookie(TnString* address, TnString* name, TnString* space) = 0;
  // Runs `script` in the page (its main frame when `frame` is empty).
  virtual void ExecuteJavaScript(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                                 const char16_t* script) = 0;
  // The page's history: one step back, and the present page loaded again.
  virtual void GoBack() = 0;
  virtual void Reload() = 0;

 protected:
  virtual ~Browser() = default;
};

// What a view tells the listeners of its dispatcher when hav's state of its browser changes.
// A listener that sets `handled` keeps the view's own handling from running.
struct BrowserStateChange {
  bool handled = false;
  int32_t state = 0;
};

// Listens for events of type `Event` on a tnEventDispatcher.
template <typename Event>
class EventListener {
 public:
  virtual void OnEvent(Event& event) = 0;
  virtual ~EventListener() = default;
};

// Listeners by event type (compared by the type's name), each type's in the order they came.
class tnEventDispatcher {
 public:
  template <typename Event>
  void AddListener(std::shared_ptr<EventListener<Event>> listener) {
    std::lock_guard<std::mutex> lock(mutex_);
    listeners_[typeid(Event).name()].push_back(std::move(listener));
  }
  // A copy of the listeners of `Event`, so that one may add or remove listeners while it runs.
  template <typename Event>
  std::vector<std::shared_ptr<EventListener<Event>>> ListenersOf() const {
    std::vector<std::shared_ptr<EventListener<Event>>> out;
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = listeners_.find(typeid(Event).name());
    if (it == listeners_.end()) return out;
    for (const auto& listener : it->second) {
      out.push_back(std::static_pointer_cast<EventListener<Event>>(listener));
    }
    return out;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<std::shared_ptr<void>>> listeners_;
};

// The web title bar of a window, as a view drives it.
class HAV_API BrowserTitleWindow {
 public:
  // Makes the bar's native window as a child of `parent`; 0.
  virtual int32_t Create(HWND parent, int32_t width, int32_t height, int32_t useModuleHandle) = 0;
  virtual HWND GetWindowHandle() = 0;
  virtual HWND GetParentWindow() = 0;
  virtual void SetShowLinkButtons(bool show) = 0;
  virtual void SetHideShareButtons(bool hide) = 0;
  virtual void SetShowNavigation(bool show) = 0;
  virtual void SetTitle(const tnbase::TnStringPtr& title) = 0;
  virtual void SetBackEnabled(bool enabled) = 0;
  virtual void AttachBrowser(void* view, Browser* browser) = 0;

 protected:
  virtual ~BrowserTitleWindow() = default;
};

// What hav tells the view of a browser. Called on the browser's user-interface thread.
class HAV_API BrowserNotify {
 public:
  virtual void OnStateChanged(int32_t state) = 0;
  virtual void OnPageLoaded(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                            TnString* url) = 0;
  virtual void OnActiveChanged(bool active) = 0;
  virtual bool OnClosing() = 0;
  // A render message with no elements or five strings, given as its strings.
  virtual void OnRenderCommand(CefRefPtr<CefBrowser> browser, bool* result, TnString* name,
                               const ArgList* args) = 0;
  // Every other render message.
  virtual bool OnProcessMessage(TnString* name, CefRefPtr<CefProcessMessage> message) = 0;
  virtual void OnFilesDragged(const FileList& files) = 0;
  virtual void OnNavigationState(int32_t index, int32_t count) = 0;
  virtual int32_t OnBeforeNavigate(TnString* url) = 0;
  virtual void OnFilesDropped(const FileList& files) = 0;
  virtual void OnBrowserDestroyed() = 0;
  virtual void OnBrowserCreated() = 0;
  virtual void OnBeforeBrowserClose() = 0;
  virtual void OnRenderProcessTemerate(int32_t reserved, int32_t status) = 0;
  virtual bool IsFilteredUrl(TnString* url) = 0;
  virtual void OnRevealFile(TnString* url) = 0;
  virtual void OnPopup() = 0;
  virtual void OnWindowChange(int32_t state) = 0;
  virtual bool OnInnerBusiness(const std::vector<std::u16string>& texts, void* callback) = 0;
  virtual bool OnDragEnter() = 0;
  virtual void GetEventDispatcher(std::shared_ptr<tnEventDispatcher>* out) = 0;

 protected:
  ~BrowserNotify() = default;
};

// A block of bytes handed out by an argument list; the receiver releases it.
class HAV_API Binary {
 public:
  virtual std::size_t GetSize() const = 0;
  virtual const void* GetData() const = 0;
  virtual void Release() = 0;

 protected:
  virtual ~Binary() = default;
};

// The argument list of a process message, as hav hands it to the render side. Reading an
// element as the wrong type gives the type's empty value.
class HAV_API ArgList {
 public:
  virtual std::size_t GetCount() const = 0;
  virtual int GetInt(std::size_t index) const = 0;
  // A new text object, which the caller releases; never null.
  virtual TnString* GetString(std::size_t index) const = 0;
  // The nested list, owned by this list; null if the element is not a list.
  virtual const ArgList* GetList(std::size_t index) const = 0;
  // A new byte object, which the caller releases; null if the element holds no bytes.
  virtual Binary* GetBinary(std::size_t index) const = 0;

 protected:
  virtual ~ArgList() = default;
};

// One element of a request's body.
class HAV_API PostElement {
 public:
  virtual std::size_t GetBytesCount() const = 0;
  virtual const void* GetBytes() const = 0;

 protected:
  virtual ~PostElement() = default;
};

// The elements of a request's body, in order.
class HAV_API PostElements {
 public:
  virtual std::size_t GetCount() const = 0;
  // Null past the end.
  virtual const PostElement* GetElement(std::size_t index) const = 0;

 protected:
  virtual ~PostElements() = default;
};

// A page's request to a registered address, as hav hands it to a handler.
class HAV_API Request {
 public:
  // The address's path ("/window/min"), without origin and query: a new text that the caller
  // releases.
  virtual TnString* GetPath() = 0;
  // The body's elements, or null for a request without a body.
  virtual const PostElements* GetPostElements() = 0;
  // Hands `length` bytes of reply to hav. Every write counts: the page's response body is all
  // writes in order, one after the other, so a second write follows the first.
  virtual void Write(const void* data, std::size_t length) = 0;

 protected:
  virtual ~Request() = default;
};

// A handler of one request to a registered address.
class HAV_API CustomizeHandler {
 public:
  virtual void OnRequest(Request* request) = 0;
  virtual void OnFinish() = 0;

 protected:
  virtual ~CustomizeHandler() = default;
};

class HAV_API HandlerCreator {
 public:
  virtual std::shared_ptr<CustomizeHandler> CreateHandler() = 0;
  virtual void DeleteCreator() = 0;

 protected:
  virtual ~HandlerCreator() = default;
};

class HAV_API HandlerRegistry {
 public:
  // Serves `address` (a full UTF-8 address) with handlers of `creator`, which stays the
  // caller's. A second registration of an address replaces the first.
  virtual void AddHandler(const char* address, HandlerCreator* creator) = 0;
  virtual void RemoveHandler(const char* address) = 0;

 protected:
  virtual ~HandlerRegistry() = default;
};

// The notifications of the render side.
class HAV_API RenderNotify {
 public:
  virtual void OnContextCreated(CefRefPtr<CefBrowser> browser, CefRefPtr<CefFrame> frame,
                                CefRefPtr<CefV8Context> context, bool enableBusiness) = 0;
  virtual bool OnHavMessage(CefRefPtr<CefBrowser> browser, int source, TnString* name,
                            const ArgList* args) = 0;

 protected:
  virtual ~RenderNotify() = default;
};

// The render-side object of hav: script extensions and the notify object.
class HAV_API RenderHost {
 public:
  virtual void RegisterExtension(const char* name, const char* script,
                                 CefRefPtr<CefV8Handler> handler) = 0;
  virtual void SetRenderNotify(RenderNotify* notify) = 0;

 protected:
  virtual ~RenderHost() = default;
};

// The entry into hav.
//
// The library also exports "CreateHavObject" (see CreateHavObjectFn): kind 1 makes a
// BrowserParam, which the caller hands to CreateBrowser and then destroys.
class HAV_API Core {
 public:
  virtual int GetProcessType() = 0;
  virtual HandlerRegistry* GetHandlerRegistry() = 0;
  virtual bool CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                             Browser** out) = 0;

 protected:
  virtual ~Core() = default;
};

// The object of kind 3: tasks for the browser's user-interface thread, posted under an id.
class HAV_API TaskRunner {
 public:
  virtual void Destroy() = 0;
  virtual int32_t Reserved() = 0;  // 0
  // Posts `task` to the user-interface thread under `id`; the posting's handle, or -1 when
  // the thread can't take tasks.
  virtual int32_t PostTask(int32_t id, CefRefPtr<CefTask> task) = 0;
  // Forgets the postings under `id` that have run or are running; one still waiting runs.
  virtual void RemoveTask(int32_t id) = 0;

 protected:
  virtual ~TaskRunner() = default;
};

constexpr int kHavObjectBrowserParam = 1;
constexpr int kHavObjectTaskRunner = 3;
using CreateHavObjectFn = bool (*)(int kind, void** out);
// The file name under which the process has hav loaded.
constexpr char kHavLibraryName[] = "libtnhav.so";

}  // namespace xhav

extern "C" HAV_API bool CreateHavObject(int kind, void** out);
