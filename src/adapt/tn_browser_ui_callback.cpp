#include "adapt/tn_browser_ui_callback.h"

#include "adapt/tn_browser_ui_adapt.h"
#include "base/tn_log.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui_callback";

}  // namespace

TnBrowserAdaptCallback::~TnBrowserAdaptCallback() {
  TN_LOG(2, "TnBrowserAdaptCallback::~TnBrowserAdaptCallback", "TnBrowserAdaptCallback deleted");
}

void TnBrowserAdaptCallback::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*,
                                              int32_t, const char16_t*) {
  // Results of business actions are delivered from the business-action work.
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
