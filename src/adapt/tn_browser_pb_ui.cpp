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

void TnBrowserPbUI::SetBrowser(xhav::Browser* browser) { SetBrowserOnly(browser); }

int32_t TnBrowserPbUI::Face::GetId() {
  xhav::Browser* b = view_->browser();
  return b ? b->GetId() : 0;
}

}  // namespace tnwebui
