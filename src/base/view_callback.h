#pragma once

// The answer object that the module gives the host or the business core: IBrowserViewCallback
// with an atomic count starting at 0; the last Release deletes the whole object. Derived
// classes implement OnBusinessResult; the other operations do nothing.

#include <atomic>

#include "base/unknown_impl.h"
#include "tnwebui/view.h"

namespace tnwebui {

class ViewCallbackBase : public IBrowserViewCallback {
 public:
  HRESULT QueryInterface(const GUID& iid, void** out) override {
    return QueryInterfaceOf<IBrowserViewCallback>(this, IID_IBrowserViewCallback, iid, out);
  }
  uint32_t AddRef() override { return refCount_.fetch_add(1) + 1; }
  uint32_t Release() override {
    const uint32_t left = refCount_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
  }
  IBrowserView* GetView() override { return nullptr; }
  void Detach() override {}
  HRESULT Reserved1(int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT Reserved2(int32_t, int32_t) override { return E_NOTIMPL; }
  HRESULT Reserved3(int32_t, int32_t, int32_t, int32_t, int32_t) override { return E_NOTIMPL; }

 protected:
  virtual ~ViewCallbackBase() = default;

 private:
  std::atomic<uint32_t> refCount_{0};
};

}  // namespace tnwebui
