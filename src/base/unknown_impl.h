#pragma once

// The IUnknown part of the module's host-facing objects: one identifier besides IUnknown's,
// and an atomic count; the object deletes itself when the count falls to 0.

#include <atomic>

#include "tnwebui/unknown.h"

namespace tnwebui {

template <typename Interface, typename Self>
HRESULT QueryInterfaceOf(Self* self, const GUID& own, const GUID& iid, void** out) {
  if (!out) return E_INVALIDARG;
  if (iid != IID_IUnknown && iid != own) {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  *out = static_cast<Interface*>(self);
  self->AddRef();
  return S_OK;
}

}  // namespace tnwebui

#define TN_IMPLEMENT_UNKNOWN(Interface, InterfaceId)                             \
 public:                                                                         \
  HRESULT QueryInterface(const GUID& iid, void** out) override {                 \
    return ::tnwebui::QueryInterfaceOf<Interface>(this, InterfaceId, iid, out);  \
  }                                                                              \
  uint32_t AddRef() override { return refCount_.fetch_add(1) + 1; }              \
  /* A reference only while the object lives: false once its count reached 0. */ \
  bool TryAddRef() {                                                             \
    uint32_t n = refCount_.load();                                               \
    while (n != 0 && !refCount_.compare_exchange_weak(n, n + 1)) {               \
    }                                                                            \
    return n != 0;                                                               \
  }                                                                              \
  uint32_t Release() override {                                                  \
    const uint32_t left = refCount_.fetch_sub(1) - 1;                            \
    if (left == 0) delete this;                                                  \
    return left;                                                                 \
  }                                                                              \
                                                                                 \
 private:                                                                        \
  std::atomic<uint32_t> refCount_ { 0 }
