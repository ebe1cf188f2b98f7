#include "adapt/tn_browser_ui_callback.h"

#include "adapt/tn_browser_ui_adapt.h"
#include "base/CommonFunc.h"
#include "base/tn_log.h"
#include "render/tavrin_js_handler.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui_callback";

// The name with its ASCII letters in lower case, as pages send names.
TnString* LowerName(const char16_t* name) {
  std::u16string text(name ? name : u"");
  for (char16_t& c : text) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  }
  return allocStringFromWideChars(text.data(), static_cast<int32_t>(text.size()));
}

}  // namespace

TnBrowserAdaptCallback::~TnBrowserAdaptCallback() {
  TN_LOG(2, "TnBrowserAdaptCallback::~TnBrowserAdaptCallback", "TnBrowserAdaptCallback deleted");
}

void TnBrowserAdaptCallback::OnBusinessResult(const char16_t* business, const char16_t* action,
                                              const char16_t* callbackId, int32_t code,
                                              const char16_t* data) {
  tnbase::TnStringPtr lowBusiness(LowerName(business));
  tnbase::TnStringPtr lowAction(LowerName(action));
  CefRefPtr<CefListValue> result = CefListValue::Create();
  result->SetString(0, CefString(callbackId ? callbackId : u""));
  result->SetInt(1, code);
  result->SetString(2, CefString(data ? data : u""));

  // The core calls from its own threads: the view is taken only while it is alive and not
  // detached, and its reference is held through the delivery.
  TnBrowserAdaptUI* view = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (view_ && view_->TryAddRef()) view = view_;
  }
  if (!view) return;
  view->ExeBusinessActionCallback(lowBusiness.get(), lowAction.get(), result);
  view->Release();
}

IBrowserView* TnBrowserAdaptCallback::GetView() {
  std::lock_guard<std::mutex> lock(mutex_);
  return view_;
}

void TnBrowserAdaptCallback::Detach() {
  std::lock_guard<std::mutex> lock(mutex_);
  view_ = nullptr;
}

}  // namespace tnwebui
