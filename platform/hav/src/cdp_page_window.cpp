// The browser of one page target as the host sees it: the window model and Chromium's window
// bounds, the cookies of its browser context, evaluations and screenshots.

#include <algorithm>

#include "arg_list.h"
#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "cef/cef_task.h"
#include "cef/inproc_v8.h"
#include "hav/json_text.h"
#include "host_browser.h"

namespace xhav::cdp {

bool PageBrowser::GetProperty(int32_t id, void** out) {
  if (!out) return false;
  *out = nullptr;
  if (!alive_) return false;
  if (id == kPropertyBusinessChannel) {
    *out = engine_->business_channel();
    return *out != nullptr;
  }
  if (id == kPropertySettings) {
    if (!settings_) settings_ = inproc::NewBrowserParamFrom(param_);
    *out = settings_;
    return true;
  }
  if (id != kPropertyEngineBrowser || !hostBrowser_) return false;
  *out = hostBrowser_.get();
  return true;
}

void PageBrowser::SetWindowBounds(const Json::Value& bounds) {
  if (!alive_ || Waits([this, bounds] { SetWindowBounds(bounds); })) return;
  Json::Value params;
  params["targetId"] = target_;
  Connection* connection = &engine_->connection();
  connection->Send("Browser.getWindowForTarget", params, "",
                   [connection, bounds](const Json::Value& result, const Json::Value&) {
                     if (!result.isMember("windowId")) return;
                     Json::Value set;
                     set["windowId"] = result["windowId"];
                     set["bounds"] = bounds;
                     connection->Send("Browser.setWindowBounds", set, "", nullptr);
                   });
}

void PageBrowser::MatchChromiumWindow() {
  const win::WindowState window = win::GetWindowState(hwnd_);
  if (window.width <= 0 || window.height <= 0) return;
  Json::Value bounds;
  bounds["left"] = window.x;
  bounds["top"] = window.y;
  bounds["width"] = window.width;
  bounds["height"] = window.height;
  SetWindowBounds(bounds);
}

void PageBrowser::SetWindowState(const char* state) {
  Json::Value bounds;
  bounds["windowState"] = state;
  SetWindowBounds(bounds);
}

void PageBrowser::Show(bool show) {
  if (alive_) win::ShowWindow(hwnd_, show ? win::SW_SHOWWINDOW : win::SW_HIDE);
}

void PageBrowser::Minimize() {
  if (alive_) win::ShowWindow(hwnd_, win::SW_MINIMIZE);
  SetWindowState("minimized");
}

void PageBrowser::Maximize() {
  if (alive_) win::ShowWindow(hwnd_, win::SW_MAXIMIZE);
  SetWindowState("maximized");
}

void PageBrowser::Restore() {
  if (alive_) win::ShowWindow(hwnd_, win::SW_RESTORE);
  SetWindowState("normal");
}

void PageBrowser::SetTopMost(bool) {}

void PageBrowser::Close(int32_t force) {
  if (!alive_ || Waits([this, force] { Close(force); })) return;
  if (!closing_) {
    Engine::CloseTracer tracer;
    {
      std::lock_guard<std::mutex> lock(engine_->mutex_);
      tracer = engine_->closeTracer_;
    }
    if (tracer) tracer(this);
  }
  closing_ = true;
  Json::Value params;
  params["targetId"] = target_;
  engine_->connection().Send("Target.closeTarget", params, "", nullptr);
}

void PageBrowser::MoveWindow(int32_t x, int32_t y, int32_t width, int32_t height) {
  if (!alive_) return;
  win::SetWindowPos(hwnd_, nullptr, x, y, width, height, win::SWP_NOZORDER);
  Json::Value bounds;
  bounds["left"] = x;
  bounds["top"] = y;
  bounds["width"] = width;
  bounds["height"] = height;
  SetWindowBounds(bounds);
}

void PageBrowser::AddHandler(const char* address, HandlerCreator* creator) {
  handlers_.Add(address, creator);
  engine_->Intercept(address ? address : "");
}

void PageBrowser::RemoveHandler(const char* address) { handlers_.Remove(address); }

void PageBrowser::SetTitle(const char16_t* title) {
  tnbase::TnStringPtr t(allocStringFromWideChars(title));
  win::SetWindowTextW(hwnd_, title ? title : u"");
  std::lock_guard<std::mutex> lock(mutex_);
  title_ = t->ToUTF8();
}

void PageBrowser::SetInitialData(const char*) {}

void PageBrowser::SetCookie(TnString* address, TnString* name, TnString* value, TnString*) {
  if (!alive_) return;
  Json::Value params;
  params["url"] = Engine::ToEngineUrl(Utf8(address));
  params["name"] = Utf8(name);
  params["value"] = Utf8(value);
  SendToPage("Network.setCookie", params);
}

void PageBrowser::DeleteCookie(TnString* address, TnString* name, TnString*) {
  if (!alive_) return;
  DeleteCookie(Utf8(address), Utf8(name));
}

void PageBrowser::DeleteCookie(const std::string& site, const std::string& cookie) {
  if (Waits([this, site, cookie] { DeleteCookie(site, cookie); })) return;
  Connection* connection = &engine_->connection();
  const std::string session = session_;
  if (!site.empty()) {
    Json::Value params;
    params["name"] = cookie;
    params["url"] = Engine::ToEngineUrl(site);
    connection->Send("Network.deleteCookies", params, session, nullptr);
    return;
  }
  // No address: the cookie of this name goes from every site of the space.
  Json::Value query;
  query["browserContextId"] = context_;
  connection->Send("Storage.getCookies", query, "",
                   [connection, cookie, session](const Json::Value& result, const Json::Value&) {
                     for (const Json::Value& c : result["cookies"]) {
                       if (c["name"].asString() != cookie) continue;
                       Json::Value params;
                       params["name"] = cookie;
                       params["domain"] = c["domain"];
                       params["path"] = c["path"];
                       connection->Send("Network.deleteCookies", params, session, nullptr);
                     }
                   });
}

std::vector<std::string> PageBrowser::frame_sessions() const {
  std::vector<std::string> sessions;
  for (const auto& [session, frame] : frames_) sessions.push_back(session);
  return sessions;
}

bool PageBrowser::Evaluate(const std::string& expression, Json::Value* value, int timeoutMs,
                           const std::string& session) {
  if (session.empty() && !bound_) return false;
  Json::Value params, result;
  params["expression"] = expression;
  params["returnByValue"] = true;
  params["awaitPromise"] = true;
  if (!engine_->connection().Call("Runtime.evaluate", params, session.empty() ? session_ : session,
                                  &result, nullptr, timeoutMs)) {
    return false;
  }
  if (value) *value = result["result"]["value"];
  return !result.isMember("exceptionDetails");
}

void PageBrowser::EvaluateLater(const std::string& expression,
                                std::function<void(bool ok, const Json::Value& value)> done) {
  Json::Value params;
  params["expression"] = expression;
  params["returnByValue"] = true;
  params["awaitPromise"] = true;
  SendToPage("Runtime.evaluate", params,
             [done = std::move(done)](const Json::Value& result, const Json::Value& error) {
               done(error.isNull() && !result.isMember("exceptionDetails"),
                    result["result"]["value"]);
             });
}

namespace {

// The PNG bytes of Page.captureScreenshot's answer; empty when it has none.
std::string PngOf(const Json::Value& result) {
  const Json::Value& data = Member(result, "data");
  if (!data.isString()) return std::string();
  return QByteArray::fromBase64(QByteArray::fromStdString(data.asString())).toStdString();
}

}  // namespace

void PageBrowser::CaptureScreenshotLater(std::function<void(std::string png)> done) {
  Json::Value params;
  params["format"] = "png";
  SendToPage("Page.captureScreenshot", params,
             [done = std::move(done)](const Json::Value& result, const Json::Value&) {
               done(PngOf(result));
             });
}

bool PageBrowser::Click(double x, double y) {
  if (!bound_) return false;
  for (const char* type : {"mousePressed", "mouseReleased"}) {
    Json::Value params;
    params["type"] = type;
    params["x"] = x;
    params["y"] = y;
    params["button"] = "left";
    params["clickCount"] = 1;
    if (!engine_->connection().Call("Input.dispatchMouseEvent", params, session_, nullptr)) {
      return false;
    }
  }
  return true;
}

bool PageBrowser::Type(const std::string& text) {
  if (!bound_) return false;
  Json::Value params;
  params["text"] = text;
  return engine_->connection().Call("Input.insertText", params, session_, nullptr);
}

bool PageBrowser::PressKey(const std::string& key) {
  if (!bound_) return false;
  static const struct {
    const char* key;
    int code;  // the key's Windows virtual-key code
  } kKeys[] = {{"Enter", 13},      {"Backspace", 8}, {"Tab", 9},
               {"Escape", 27},     {"Delete", 46},   {"ArrowLeft", 37},
               {"ArrowRight", 39}, {"ArrowUp", 38},  {"ArrowDown", 40}};
  for (const auto& known : kKeys) {
    if (key != known.key) continue;
    for (const char* type : {"rawKeyDown", "keyUp"}) {
      Json::Value params;
      params["type"] = type;
      params["key"] = known.key;
      params["code"] = known.key;
      params["windowsVirtualKeyCode"] = known.code;
      // Enter types a line break where text is edited, as a real key does.
      if (key == "Enter" && std::string(type) == "rawKeyDown") {
        params["type"] = "keyDown";
        params["text"] = "\r";
      }
      if (!engine_->connection().Call("Input.dispatchKeyEvent", params, session_, nullptr))
        return false;
    }
    return true;
  }
  return false;
}

void PageBrowser::CrashRenderer() {
  // The renderer dies before it answers; the answer isn't waited for.
  SendToPage("Page.crash", Json::Value());
}

bool PageBrowser::CaptureScreenshot(std::string* png, bool wholePage) {
  if (!bound_) return false;
  Json::Value params, result;
  std::string error;
  params["format"] = "png";
  // The whole document, however far it goes beyond the viewport (a long table).
  Json::Value metrics;
  if (wholePage && engine_->connection().Call("Page.getLayoutMetrics", Json::Value(), session_,
                                              &metrics, &error)) {
    const Json::Value& size = metrics["cssContentSize"];
    if (size["width"].isNumeric() && size["height"].isNumeric()) {
      params["captureBeyondViewport"] = true;
      params["clip"]["x"] = 0;
      params["clip"]["y"] = 0;
      params["clip"]["width"] = size["width"].asDouble();
      params["clip"]["height"] = std::min(size["height"].asDouble(), 16000.0);
      params["clip"]["scale"] = 1;
    }
  }
  // A page behind others is not drawn until it comes to the front.
  engine_->connection().Call("Page.bringToFront", Json::Value(Json::objectValue), session_,
                             nullptr);
  if (!engine_->connection().Call("Page.captureScreenshot", params, session_, &result, &error)) {
    std::fprintf(stderr, "captureScreenshot: %s\n", error.c_str());
    return false;
  }
  *png = PngOf(result);
  return !png->empty();
}

}  // namespace xhav::cdp
