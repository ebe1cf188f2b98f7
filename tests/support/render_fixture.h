#pragma once

// A render process with the module's render side started, and the means to act as page
// script and as the browser process.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cef/inproc_v8.h"
#include "hav/inproc_engine.h"
#include "log_capture.h"
#include "render/render_process.h"
#include "tn_webui_module.h"
#include "tnmainui/inproc_host.h"

// A page function that records the arguments of each call.
struct PageFunction {
  explicit PageFunction(const std::string& name = "");
  CefRefPtr<CefV8Value> value;
  std::shared_ptr<std::vector<CefV8ValueList>> calls =
      std::make_shared<std::vector<CefV8ValueList>>();
  // Runs inside each call, after recording it.
  std::shared_ptr<std::function<void(const CefV8ValueList&)>> onCall =
      std::make_shared<std::function<void(const CefV8ValueList&)>>();
};

CefRefPtr<CefV8Value> Str(const std::string& s);
CefRefPtr<CefV8Value> Int(int v);

class RenderFixture : public ::testing::Test {
 protected:
  RenderFixture();
  ~RenderFixture() override;

  std::shared_ptr<xhav::inproc::Page> OpenPage(bool enableBusiness = true);
  // Page script: calls tnpc.<name>(args) in `page`.
  cef_inproc::ScriptCallResult Call(xhav::inproc::Page& page, const std::string& name,
                                    const CefV8ValueList& args = {});
  // The messages that reached the browser process since the last look.
  std::vector<xhav::inproc::RecordedMessage> Sent();
  // Browser process: sends a message to `page` and lets the render side handle it.
  void Deliver(xhav::inproc::Page& page, CefRefPtr<CefProcessMessage> message);
  static CefRefPtr<CefProcessMessage> BusinessAnswer(const std::string& business,
                                                     const std::string& action,
                                                     const std::string& id, int code,
                                                     const std::string& data);
  static CefRefPtr<CefProcessMessage> PushNotify(const std::string& key, int code,
                                                 const std::string& event,
                                                 const std::string& format,
                                                 const std::string& payload, bool binary);

  LogCapture log;
  xhav::inproc::Engine engine{xhav::kProcessTypeRender};
  tnmainui::InProcessHost host{engine.core(), engine.render_host()};
  tnwebui::TnWebUIModule module{&host};
  tnwebui::RenderProcess render{&module};
  CefRefPtr<tnwebui::CCefV8HandlerImpl> handler;
};
