#include "adapt/tn_browser_pb_ui.h"

#include "base/CommonFunc.h"

namespace tnwebui {

void TnBrowserPbUI::OnRenderCommand(CefRefPtr<CefBrowser>, bool* result, TnString* name,
                                    const xhav::ArgList* args) {
  std::vector<std::u16string> texts;
  const std::size_t count = args ? args->GetCount() : 0;
  texts.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    tnbase::TnStringPtr text(args->GetString(i));
    texts.emplace_back(text->GetData(), static_cast<std::size_t>(text->GetLength()));
  }
  const bool handled = ProcessMessage(browser(), 0, name, texts);
  if (result) *result = handled;
}

bool TnBrowserPbUI::OnProcessMessage(TnString* name, CefRefPtr<CefProcessMessage> message) {
  tnbase::TnStringPtr empty;
  if (!name) {
    empty = tnbase::TnStringPtr(allocString());
    name = empty.get();
  }
  return eventApi_.OnBrowserCall(name, message);
}

void TnBrowserPbUI::OnBrowserCreated() {
  TnBrowserAdaptUI::OnBrowserCreated();
  eventApi_.Init(browser());  // after SetBrowser this changes nothing
}

void TnBrowserPbUI::OnBeforeBrowserClose() {
  // From here on the view gets no events.
  eventApi_.Detach();
}

void TnBrowserPbUI::SetBrowser(xhav::Browser* browser) {
  SetBrowserOnly(browser);
  eventApi_.Init(browser);
}

int32_t TnBrowserPbUI::Face::GetId() {
  xhav::Browser* b = view_->browser();
  return b ? b->GetId() : 0;
}

}  // namespace tnwebui
