#pragma once

// The desktop commands: a page sends a request to a path under the desktop origin with one
// body element, a serialised ParamList; hav asks the creator registered for the address for a
// fresh handler, and the handler routes the path to its command, which writes a serialised
// Response back into the request.
//
// BrowserHandler serves the window commands of one window; OpenBrowserHandler the commands
// that any page may send ("/window/open", "/window/havewindow", "/biz/common/choosecontacts").

#include <json/value.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/live_count.h"
#include "base/view_callback.h"
#include "coretnmedia.pb.h"
#include "hav/hav.h"
#include "jsapi.pb.h"
#include "light/desktop_origin.h"
#include "presentation.pb.h"
#include "tnbase/tn_string.h"
#include "tnwebui/view.h"

namespace tnwebui {

class TavrinBrowser;

// The module-wide paths, registered in this order when the module starts.
inline constexpr const char* kOpenPaths[] = {"/window/open", "/biz/common/choosecontacts",
                                             "/window/havewindow"};
// What a light browser registers, in this order.
inline constexpr const char* kLightBrowserPaths[] = {"/window/init",
                                                     "/window/close",
                                                     "/window/min",
                                                     "/window/max",
                                                     "/window/restore",
                                                     "/window/tooltip",
                                                     "/window/setwindowsize",
                                                     "/window/animationstart",
                                                     "/window/animationstop",
                                                     "/window/shakewindow",
                                                     "/window/openFolder",
                                                     "/window/getfoldersize",
                                                     "/window/setalwaysontop",
                                                     "/window/getwindowtemp"};
// What a light browser removes when it ends, in this order. Two names differ from those it
// registered ("/window/onAnimationStart", "/window/onAnimationStop"): the two animation
// registrations stay behind and the two removals find nothing. Kept as the client has it.
inline constexpr const char* kLightBrowserRemovedPaths[] = {"/window/init",
                                                            "/window/close",
                                                            "/window/min",
                                                            "/window/max",
                                                            "/window/restore",
                                                            "/window/tooltip",
                                                            "/window/setwindowsize",
                                                            "/window/onAnimationStart",
                                                            "/window/onAnimationStop",
                                                            "/window/shakewindow",
                                                            "/window/openFolder",
                                                            "/window/getfoldersize",
                                                            "/window/setalwaysontop",
                                                            "/window/getwindowtemp"};
// What the full page view registers and removes, in this order: no tool tip, no always-on-top.
inline constexpr const char* kPbViewPaths[] = {"/window/init",
                                               "/window/close",
                                               "/window/min",
                                               "/window/max",
                                               "/window/restore",
                                               "/window/setwindowsize",
                                               "/window/animationstart",
                                               "/window/animationstop",
                                               "/window/shakewindow",
                                               "/window/openFolder",
                                               "/window/getfoldersize",
                                               "/window/getwindowtemp"};

// Registers `creator` for each path of `paths` under the desktop origin, in order.
template <std::size_t N>
void AddDesktopHandlers(xhav::Browser* browser, const char* const (&paths)[N],
                        xhav::HandlerCreator* creator) {
  if (!browser) return;
  for (const char* path : paths) browser->AddHandler(DesktopAddress(path).c_str(), creator);
}
// Removes the registrations of `paths`, in order.
template <std::size_t N>
void RemoveDesktopHandlers(xhav::Browser* browser, const char* const (&paths)[N]) {
  if (!browser) return;
  for (const char* path : paths) browser->RemoveHandler(DesktopAddress(path).c_str());
}

// The one way a command replies: a Response with `code` (and `data`), serialised and written
// into `request` when there is one.
void WriteResponse(xhav::Request* request, int32_t code, const std::string& data = std::string());

// The files that a folder walk collected: size and name.
using FolderEntries = std::vector<std::pair<uint64_t, std::u16string>>;
// Sums the files under `folder` whose extension `filter` holds ("*.*": all), into `total`, and
// collects them in `entries`. True as soon as the total passes `limit` (the rest isn't
// walked). Folders that are links or junctions aren't followed.
bool WalkFolder(std::u16string folder, const std::u16string& filter, FolderEntries& entries,
                int64_t& total, int64_t limit);
// /window/getfoldersize's measure: the folder's JSON in `folder` and true, or false after
// `reply` got -2 (over `limitText`, 100 MiB when empty). An empty path gets -3 and is walked
// all the same.
bool FolderSize(const std::string& limitText, const std::string& path, Json::Value* folder,
                const std::function<void(int32_t)>& reply);
// The same measure told to pages as the event "tn.getfilesize" (no command sends it).
void ReportFolderSize(int64_t limit, const std::string& path);
inline constexpr char kFileSizeEvent[] = "tn.getfilesize";
inline constexpr int64_t kDefaultFolderLimit = 104857600;
inline constexpr std::size_t kMaxPath = 260;
inline constexpr int32_t kToolTipFailed = 312;

// The reply that /window/init and a successful /window/open give: the window's data, its
// session's user included.
void WriteWindowData(xhav::Request* request, TavrinBrowser* window);

class BrowserHandler final : public xhav::CustomizeHandler {
 public:
  // `window` is the page's window, not owned; null makes every request InvalidAPI.
  explicit BrowserHandler(TavrinBrowser* window);

  void OnRequest(xhav::Request* request) override;
  void OnFinish() override {}

 private:
  using Command = void (BrowserHandler::*)(xhav::Request*, const interdata::ParamList&);

  void onInit(xhav::Request* request, const interdata::ParamList& list);
  void onMinimize(xhav::Request* request, const interdata::ParamList& list);
  void onMaximize(xhav::Request* request, const interdata::ParamList& list);
  void onRestore(xhav::Request* request, const interdata::ParamList& list);
  void onClose(xhav::Request* request, const interdata::ParamList& list);
  void onSetWindowSize(xhav::Request* request, const interdata::ParamList& list);
  void onShowToolTip(xhav::Request* request, const interdata::ParamList& list);
  void onAnimationStart(xhav::Request* request, const interdata::ParamList& list);
  void onAnimationStop(xhav::Request* request, const interdata::ParamList& list);
  void onShakeWindow(xhav::Request* request, const interdata::ParamList& list);
  void onOpenFolder(xhav::Request* request, const interdata::ParamList& list);
  void onGetFolderSize(xhav::Request* request, const interdata::ParamList& list);
  void onSetAlwaysOnTop(xhav::Request* request, const interdata::ParamList& list);
  void onGetWindowTemp(xhav::Request* request, const interdata::ParamList& list);

  // The window's hav browser, or null.
  xhav::Browser* HavBrowser();

  TavrinBrowser* browser;
  std::map<std::string, Command> commands;
};

// The request's path as bytes; empty without a request.
std::string RequestPath(xhav::Request* request);
// Reads the body into `list` when it is exactly one element. A body that isn't a ParamList is
// logged under `function` and answered with ParamCount; the caller goes on with what the
// parser left.
void ReadParamList(xhav::Request* request, interdata::ParamList& list, const char* function);

// The answer object that a dialog of the main page calls back: it holds its owner through a
// shared pointer, so the owner lives while the dialog is open, and lets go at its last Release.
template <typename Owner>
class browser_view_cb_impl final : public ViewCallbackBase {
 public:
  explicit browser_view_cb_impl(std::shared_ptr<Owner> owner) : owner_(std::move(owner)) {}
  void OnBusinessResult(const char16_t*, const char16_t* action, const char16_t*, int32_t code,
                        const char16_t* result) override {
    if (owner_) owner_->onDialogResult(action, code, result);
  }

 private:
  ~browser_view_cb_impl() override = default;  // the owner goes with the last reference
  std::shared_ptr<Owner> owner_;
};

class OpenBrowserHandler final : public xhav::CustomizeHandler,
                                 public std::enable_shared_from_this<OpenBrowserHandler>,
                                 public LiveCounted<OpenBrowserHandler> {
 public:
  OpenBrowserHandler();
  ~OpenBrowserHandler() override;
  OpenBrowserHandler(const OpenBrowserHandler&) = delete;
  OpenBrowserHandler& operator=(const OpenBrowserHandler&) = delete;

  void OnRequest(xhav::Request* request) override;
  void OnFinish() override {}
  // The main page's answer to a dialog: `method` is the action of the call, `status` its code.
  void onDialogResult(const char16_t* method, int32_t status, const char16_t* answer);

 private:
  void onOpenWindow(xhav::Request* request, const interdata::ParamList& list);
  void onHaveWindow(xhav::Request* request, const interdata::ParamList& list);
  void onChooseContacts(xhav::Request* request, const interdata::ParamList& list);
  // The business core of `organisation`, with a reference for the caller; replies 574642 or
  // 785630 and gives null when the service or the core is missing.
  BusinessCore* TakeCore(xhav::Request* request, int32_t organisation);
  // A view through the factory's settings: `name`, the page `url` (as the settings name it),
  // the core, `json`; then CreateBrowserView with `address`.
  void OpenView(const char16_t* name, const std::string& url, const std::string& address,
                BusinessCore* view, const std::string& json);
  void OpenPlain(xhav::Request* request, const std::string& url, const std::string& json);
  void OpenWindow(xhav::Request* request, const interdata::ParamList& list,
                  const interdata::TavrinWindowData& data);
  // Size and place of a new window from its property's `pos`.
  void PlaceWindow(const interdata::WindowPosition& pos, const interdata::TavrinWindowData& data,
                   xhav::BrowserParam* param);
  // Asks the client's main page ("TnMain") for a dialog; its answer comes to onDialogResult.
  void callMainPage(const char16_t* business, const char16_t* method, const std::string& json);
  void onSaveFile(const interdata::TavrinWindowData& data);
  void onChooseFile(const interdata::TavrinWindowData& data);
  void onMessageBox(const interdata::TavrinWindowData& data);
  void onPreviewFile(const interdata::TavrinWindowData& data);

  BusinessCore* core = nullptr;  // the window's organisation's core, one reference
  int32_t oid = 0;
  int32_t category = 0;                  // of a file choice
  interdata::CoreMediaIdentifier media;  // the file of a running save or preview
  int32_t maxCount = 0;
  TnString* title;                   // owned
  xhav::Request* request = nullptr;  // the request under way
};

// Makes a BrowserHandler for one window per request.
class BrowserHandlerCreator final : public xhav::HandlerCreator {
 public:
  explicit BrowserHandlerCreator(TavrinBrowser* window) : browser(window) {}
  ~BrowserHandlerCreator() override = default;
  std::shared_ptr<xhav::CustomizeHandler> CreateHandler() override {
    return std::make_shared<BrowserHandler>(browser);
  }
  void DeleteCreator() override { delete this; }

 private:
  TavrinBrowser* const browser;  // not owned
};

// The module-wide creator of the open commands.
//
// One owner at a time: the module holds the creator through `owner` until the registry calls
// DeleteCreator, which frees it and clears the module's slot, so neither side frees it twice.
class BrowserFactoryHandlerCreator final : public xhav::HandlerCreator {
 public:
  explicit BrowserFactoryHandlerCreator(BrowserFactoryHandlerCreator** owner = nullptr)
      : owner_(owner) {}
  ~BrowserFactoryHandlerCreator() override = default;

  std::shared_ptr<xhav::CustomizeHandler> CreateHandler() override {
    return std::make_shared<OpenBrowserHandler>();
  }
  void DeleteCreator() override {
    if (owner_ && *owner_ == this) *owner_ = nullptr;
    delete this;
  }

 private:
  BrowserFactoryHandlerCreator** const owner_;
};

}  // namespace tnwebui
