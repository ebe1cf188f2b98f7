#include "adapt/tn_browser_pb_ui.h"

#include "base/CommonFunc.h"
#include "tn_webui_module.h"

namespace tnwebui {

TnBrowserPbUI::TnBrowserPbUI(xhav::Browser* browser)
    : TnBrowserAdaptUI(browser),
      face_(this),
      jsSdk_(std::make_unique<TavrinJsSDK>(0, GetModuleHost())) {}

TnBrowserPbUI::~TnBrowserPbUI() { jsSdk_.reset(); }

void TnBrowserPbUI::Init(IBrowserViewSetting* settings) {
  TnBrowserAdaptUI::Init(settings);
  jsSdk_->SetOrgId(GetOrgId());
}

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
  if (eventApi_.OnBrowserCall(name, message)) return true;
  return jsSdk_ && jsSdk_->OnBrowserCall(name, message);
}

void TnBrowserPbUI::OnBrowserCreated() {
  TnBrowserAdaptUI::OnBrowserCreated();
  eventApi_.Init(browser());  // after SetBrowser this changes nothing
  if (jsSdk_) {
    jsSdk_->SetOrgId(GetOrgId());
    jsSdk_->SetBrowser(browser());
  }
}

void TnBrowserPbUI::OnBeforeBrowserClose() {
  // From here on the view gets no events.
  eventApi_.Detach();
}

void TnBrowserPbUI::SetBrowser(xhav::Browser* browser) {
  SetBrowserOnly(browser);
  eventApi_.Init(browser);
  if (jsSdk_) {
    jsSdk_->SetOrgId(GetOrgId());
    jsSdk_->SetBrowser(browser);
    jsSdk_->SetViewParam(GetInitData());
  }
}

int32_t TnBrowserPbUI::Face::GetId() {
  xhav::Browser* b = view_->browser();
  return b ? b->GetId() : 0;
}

}  // namespace tnwebui
