#pragma once

// The two faces that every web window shows the rest of the module: TavrinBrowser, through
// which handlers see a window, and FusionBrowser, the element of the factory's list.

#include <map>
#include <string>

#include "hav/hav.h"
#include "jsapi.pb.h"

namespace tnwebui {

using ExtraParams = std::map<std::string, interdata::ParamItem>;

class TavrinBrowser {
 public:
  virtual int32_t GetId() = 0;
  virtual const std::string& GetName() = 0;
  virtual int32_t GetOid() = 0;
  virtual xhav::Browser* GetHavBrowser() = 0;
  virtual const std::string& GetOpenUrl() = 0;
  virtual const ExtraParams& GetExtraParams() = 0;

 protected:
  ~TavrinBrowser() = default;
};

class FusionBrowser {
 public:
  // True for the full page view (TnBrowserPbUI), false for a light window.
  virtual bool IsPbView() = 0;

 protected:
  ~FusionBrowser() = default;
};

}  // namespace tnwebui
