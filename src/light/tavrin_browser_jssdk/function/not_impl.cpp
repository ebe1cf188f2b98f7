#include "light/tavrin_browser_jssdk/function/not_impl.h"

#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"

namespace tnwebui {

void JSNotImplFunction::Execute(const std::string&, const Json::Value&) {
  SendResponse(sdk::kEnvelopes[13].head);
}

}  // namespace tnwebui
