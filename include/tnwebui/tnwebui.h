#pragma once

// The browser factory's interface, handed out by CreateInterface.

#include "tnwebui/module.h"
#include "tnwebui/services.h"
#include "tnwebui/unknown.h"

// {781CB666-7AE7-46B3-B514-D9CCBE621FB6}
constexpr GUID IID_ITnWebUI = {
    0x781CB666, 0x7AE7, 0x46B3, {0xB5, 0x14, 0xD9, 0xCC, 0xBE, 0x62, 0x1F, 0xB6}};

class ITnWebUI : public IUnknown {
 public:
  virtual HRESULT Initialize(uint32_t value) = 0;
  virtual HRESULT Uninitialize() = 0;

 protected:
  ~ITnWebUI() = default;
};
