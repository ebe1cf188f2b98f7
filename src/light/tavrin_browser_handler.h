#pragma once

#include <memory>

#include "hav/hav.h"

namespace tnwebui {

// The module-wide creator of the open commands under the desktop origin ("/window/open",
// "/biz/common/choosecontacts", "/window/havewindow").
class BrowserFactoryHandlerCreator final : public xhav::HandlerCreator {
 public:
  BrowserFactoryHandlerCreator() = default;
  ~BrowserFactoryHandlerCreator() override = default;

  // The open handlers are not served yet: no handler is made, so hav answers nothing.
  std::shared_ptr<xhav::CustomizeHandler> CreateHandler() override { return nullptr; }
  void DeleteCreator() override { delete this; }
};

}  // namespace tnwebui
