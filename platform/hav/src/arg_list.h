#pragma once

#include <memory>
#include <vector>

#include "cef/cef_process_message.h"
#include "cef/cef_values.h"
#include "hav/hav.h"

namespace xhav::inproc {

// hav's argument list over the engine's list value.
class ListArgs final : public ArgList {
 public:
  explicit ListArgs(CefRefPtr<CefListValue> list);
  ~ListArgs() override = default;

  std::size_t GetCount() const override;
  int GetInt(std::size_t index) const override;
  TnString* GetString(std::size_t index) const override;
  const ArgList* GetList(std::size_t index) const override;
  Binary* GetBinary(std::size_t index) const override;

 private:
  CefRefPtr<CefListValue> list_;
  std::vector<std::unique_ptr<ListArgs>> nested_;  // one slot per element, made on demand
};

// Hands a render process's message to a view as hav does: messages with no elements or with
// five strings are commands (OnRenderCommand), every other one a message (OnProcessMessage).
void DeliverToView(BrowserNotify* notify, CefRefPtr<CefBrowser> host,
                   CefRefPtr<CefProcessMessage> message);

}  // namespace xhav::inproc
