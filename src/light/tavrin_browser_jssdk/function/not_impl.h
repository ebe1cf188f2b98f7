#pragma once

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"

namespace tnwebui {

// Any name the SDK does not serve: the page hears a plain success, so a light app written for
// a newer client goes on.
class JSNotImplFunction final : public JsSdkFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
};

}  // namespace tnwebui
