#include "light/tavrin_browser_jssdk/function/nav_bar.h"

#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"

namespace tnwebui {

void JSNavBarFunction::Execute(const std::string&, const Json::Value&) {
  SendResponse(sdk::kEnvelopes[14].head);
}

}  // namespace tnwebui
