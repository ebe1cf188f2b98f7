#pragma once

// The remaining commands of a light app's page: share a link card into a chat, show a place on
// a web map, preview an image or a video, close the window, and the page's answer to the back
// command.

#include <atomic>
#include <cstdint>
#include <string>

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnwebui/services.h"

namespace tnwebui {

// Where "device.displayLocation" sends the user: a public web map with a marker, and the tag
// by which the map knows this client. Deployment values.
inline constexpr char kWebMapMarker[] = "https://map.tavrin-web.example/marker";
inline constexpr char kWebMapSource[] = "tavrin-lightapp";

// "utils.share": a link card into a chat the user picks in the client. The client's forward
// dialog tells the outcome as an event named by the function's own `eventName`; the host may
// also answer the request itself, so the page can see two answers.
class JSShare final : public JsSdkHeldFunction, public TavrinEventReceiver {
 public:
  JSShare();
  ~JSShare() override;
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;
  // The first event of any name ends the function; only its own name is answered.
  void OnEvent(int32_t type, const char* name, const char* format, const char* data,
               int32_t size) override;

 private:
  EventBus* Bus();
  std::string eventName;
  std::atomic<bool> ended{false};
};

class JSDisplayLocation final : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                        const char16_t*) override {}
};

// "media.previewImage": the host fetches the image, then its viewer shows it.
class JSPreviewImage final : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;
};

// "media.previewVideo": answered at once, whatever the host's viewer does.
class JSPreviewVideo final : public JsSdkHostFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                        const char16_t*) override {}
};

// "ui.closeWindow": the answer goes first, as the window dies with the close.
class JSCloseWindow final : public JsSdkFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
};

// "ui.onHistoryBack": the page's answer to the back command; true goes back.
class JSHistoryBack final : public JsSdkFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
};

}  // namespace tnwebui
