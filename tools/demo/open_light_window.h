#pragma once

// Opening a light app's window as the host does: through the factory's CreateLightBrowser,
// with hav's settings object for its title bar, title and size. Shared by the demo, tnwebui-run
// and the benchmarks.

#include <cstdint>

#include "hav/hav.h"
#include "tnbase/tn_string.h"
#include "tnwebui/tnwebui.h"

namespace demo {

// Opens `url` as a light window of `orgId` named `name` through CreateLightBrowser, with its
// title bar, `title` and size; the window's id, as the factory gives it.
inline HRESULT OpenLightWindow(ITnWebUI* factory, int32_t orgId, const char* name, const char* url,
                               const char* title, int width, int height) {
  void* made = nullptr;
  CreateHavObject(xhav::kHavObjectBrowserParam, &made);
  auto* param = static_cast<xhav::BrowserParam*>(made);
  param->SetShowTitleBar(true);
  param->SetViewType(4);
  param->SetTitle(tnbase::TnStringPtr::FromUTF8(title).get());
  param->SetWidth(width);
  param->SetHeight(height);
  const HRESULT id = factory->CreateLightBrowser(orgId, name, url, param, nullptr);
  param->Destroy();
  return id;
}

}  // namespace demo
