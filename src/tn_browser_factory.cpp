#include "tn_browser_factory.h"

namespace tnwebui {

HRESULT TnBrowserFactory::QueryInterface(const GUID& iid, void** out) {
  if (!out) return E_INVALIDARG;
  if (iid != IID_IUnknown && iid != IID_ITnWebUI) {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  *out = static_cast<ITnWebUI*>(this);
  AddRef();
  return S_OK;
}

uint32_t TnBrowserFactory::AddRef() { return refCount_.fetch_add(1) + 1; }

uint32_t TnBrowserFactory::Release() {
  const uint32_t left = refCount_.fetch_sub(1) - 1;
  if (left == 0) delete this;
  return left;
}

}  // namespace tnwebui
