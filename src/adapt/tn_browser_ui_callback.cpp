#include "adapt/tn_browser_ui_callback.h"

#include <algorithm>

#include "adapt/tn_browser_ui_adapt.h"
#include "base/CommonFunc.h"
#include "base/tn_log.h"
#include "render/tavrin_js_handler.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui_callback";

// The name with its ASCII letters in lower case, as pages send names.
TnString* LowerName(const char16_t* name) {
  const std::u16string_view given(name ? name : u"");
  auto upper = [](char16_t c) { return c >= u'A' && c <= u'Z'; };
  // Names mostly come in lower case already: those are taken as they are.
  if (std::none_of(given.begin(), given.end(), upper)) {
    return allocStringFromWideChars(given.data(), static_cast<int32_t>(given.size()));
  }
  std::u16string text(given);
  for (char16_t& c : text) {
    if (upper(c)) c = static_cast<char16_t>(c - u'A' + u'a');
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
  // The result goes with the call: the message it joins is then its only holder and moves whole.
  view->ExeBusinessActionCallback(lowBusiness.get(), lowAction.get(), std::move(result));
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
