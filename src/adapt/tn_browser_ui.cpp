#include "adapt/tn_browser_ui.h"

#include "base/tn_log.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui";

}  // namespace

TnBrowserUI::~TnBrowserUI() { TN_LOG(2, "TnBrowserUI::~TnBrowserUI", "TnBrowserUI deleted"); }

HWND TnBrowserUI::GetHwnd() {
  xhav::Browser* b = browser();
  return b ? b->GetWindowHandle() : nullptr;
}

void TnBrowserUI::Show(int32_t show) {
  if (xhav::Browser* b = browser()) b->Show(show != 0);
}

void TnBrowserUI::SetAlwaysTop(int32_t top) {
  if (xhav::Browser* b = browser()) b->SetTopMost(top != 0);
}

bool TnBrowserUI::ProcessJsCommand(TnString* command) {
  if (!command) return false;
  xhav::Browser* b = browser();
  if (command->EqualsIgnoreCase("minwnd")) {
    if (b) b->Minimize();
  } else if (command->EqualsIgnoreCase("maxwnd")) {
    if (b) b->Maximize();
  } else if (command->EqualsIgnoreCase("restorewnd")) {
    if (b) b->Restore();
  } else if (command->EqualsIgnoreCase("forceclosewnd")) {
    if (b) b->Close(0);
  } else {
    return false;
  }
  return true;
}

void TnBrowserUI::OnBrowserDestroyed() {
  xhav::Browser* b = browser();
  if (TnBrowserFactory* factory = GetBrowserFactory()) factory->RemoveBrowser(b ? b->GetId() : 0);
}

void TnBrowserUI::GetEventDispatcher(std::shared_ptr<xhav::tnEventDispatcher>* out) {
  if (out) out->reset();
}

void TnBrowserUI::SetBrowserOnly(xhav::Browser* browser) {
  browser_.store(browser);
  if (browser) browser->Attach();
}

}  // namespace tnwebui
