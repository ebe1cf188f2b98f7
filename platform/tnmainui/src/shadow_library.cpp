// libTnMainUI.so: the client's library of window ornaments, as far as the module loads it by
// its full path. Its entry hands out the drop shadow of a window.

#include "tnmainui/business_core.h"

extern "C" __attribute__((visibility("default"))) HRESULT CreateInterface(const GUID* id,
                                                                          void** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (!id || !(*id == IID_WindowShadow)) return E_NOINTERFACE;
  auto* shadow = new tnmainui::RecordingShadow();
  shadow->AddRef();  // the caller's
  *out = static_cast<WindowShadow*>(shadow);
  return S_OK;
}
