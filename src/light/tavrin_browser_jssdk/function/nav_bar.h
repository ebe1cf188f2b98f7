#pragma once

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"

namespace tnwebui {

// "ui.setNavigationBarMenu": the window has no menu of the page's to show; the call is
// answered as done.
class JSNavBarFunction final : public JsSdkFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
};

}  // namespace tnwebui
