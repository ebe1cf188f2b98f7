#pragma once

// The front of a view's page events: it takes the page's "registerEvent", "unregisterEvent"
// and "send_event" messages, and owns the view's event pool.

#include <memory>

#include "cef/cef_process_message.h"
#include "hav/hav.h"
#include "light/tavrin_browser_event/browser_event_pool.h"

namespace tnwebui {

class BrowserEventApi {
 public:
  BrowserEventApi() = default;

  // Makes the pool for `owner`, once.
  void Init(xhav::Browser* owner);
  // Ends the pool's events; the subscriptions stay.
  void Detach();
  // True when `name` is one of the three messages of page events.
  bool OnBrowserCall(TnString* name, CefRefPtr<CefProcessMessage> message);

  BrowserFunctionNotify* pool() const { return pool_.get(); }

 private:
  xhav::Browser* owner_ = nullptr;
  std::unique_ptr<BrowserFunctionNotify> pool_;
};

}  // namespace tnwebui
