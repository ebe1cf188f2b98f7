#pragma once

// The browser factory: the one object through which the host opens web content.

#include <atomic>

#include "tnwebui/tnwebui.h"

namespace tnwebui {

class TnBrowserFactory final : public ITnWebUI {
 public:
  TnBrowserFactory() = default;

  HRESULT QueryInterface(const GUID& iid, void** out) override;
  uint32_t AddRef() override;
  uint32_t Release() override;
  HRESULT Initialize(uint32_t) override { return S_OK; }
  HRESULT Uninitialize() override { return S_OK; }

 private:
  ~TnBrowserFactory() = default;

  std::atomic<uint32_t> refCount_{0};
};

}  // namespace tnwebui
