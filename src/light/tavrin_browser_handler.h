#pragma once

#include <memory>

#include "hav/hav.h"

namespace tnwebui {

// The module-wide creator of the open commands under the desktop origin ("/window/open",
// "/biz/common/choosecontacts", "/window/havewindow").
//
// One owner at a time: the module holds the creator through `owner` until the registry calls
// DeleteCreator, which frees it and clears the module's slot, so neither side frees it twice.
class BrowserFactoryHandlerCreator final : public xhav::HandlerCreator {
 public:
  explicit BrowserFactoryHandlerCreator(BrowserFactoryHandlerCreator** owner = nullptr)
      : owner_(owner) {}
  ~BrowserFactoryHandlerCreator() override = default;

  // The open handlers are not served yet: no handler is made, so hav answers nothing.
  std::shared_ptr<xhav::CustomizeHandler> CreateHandler() override { return nullptr; }
  void DeleteCreator() override {
    if (owner_ && *owner_ == this) *owner_ = nullptr;
    delete this;
  }

 private:
  BrowserFactoryHandlerCreator** const owner_;
};

}  // namespace tnwebui
