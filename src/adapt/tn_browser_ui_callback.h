#pragma once

// The object through which the business core's results come back to a view. The core holds it
// on its own threads, so the view it leads to is guarded.

#include <atomic>
#include <mutex>

#include "base/unknown_impl.h"
#include "tnwebui/view.h"

namespace tnwebui {

class TnBrowserAdaptUI;

class TnBrowserAdaptCallback final : public IBrowserViewCallback {
 public:
  explicit TnBrowserAdaptCallback(TnBrowserAdaptUI* view) : view_(view) {}

  void OnBusinessResult(const char16_t* business, const char16_t* action,
                        const char16_t* callbackId, int32_t code, const char16_t* data) override;
  IBrowserView* GetView() override;
  void Detach() override;
  HRESULT Reserved1(int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT Reserved2(int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) override { return E_NOTIMPL; }

 private:
  ~TnBrowserAdaptCallback();

  std::mutex mutex_;
  TnBrowserAdaptUI* view_;

  TN_IMPLEMENT_UNKNOWN(IBrowserViewCallback, IID_IBrowserViewCallback);
};

}  // namespace tnwebui
