#include "adapt/tn_browser_pb_ui.h"

#include "base/CommonFunc.h"
#include "tn_webui_module.h"

namespace tnwebui {

TnBrowserPbUI::TnBrowserPbUI(xhav::Browser* browser)
    : TnBrowserAdaptUI(browser),
      face_(this),
      jsSdk_(std::make_unique<TavrinJsSDK>(0, GetModuleHost())),
      handlerCreator_(std::make_unique<BrowserHandlerCreator>(&face_)) {}

TnBrowserPbUI::~TnBrowserPbUI() {
  handlerCreator_.reset();
  jsSdk_.reset();
  eventDispatcher_.reset();
}

void TnBrowserPbUI::OnStateChanged(int32_t state) {
  if (eventDispatcher_) {
    xhav::BrowserStateChange change;
    change.state = state;
    for (const auto& listener : eventDispatcher_->ListenersOf<xhav::BrowserStateChange>()) {
      listener->OnEvent(change);
    }
    if (change.handled) return;
  }
  TnBrowserAdaptUI::OnStateChanged(state);
}

void TnBrowserPbUI::GetEventDispatcher(std::shared_ptr<xhav::tnEventDispatcher>* out) {
  if (!eventDispatcher_) eventDispatcher_ = std::make_shared<xhav::tnEventDispatcher>();
  if (out) *out = eventDispatcher_;
}

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
  // A page reads the view's parameter through /window/init.
  interdata::ParamItem json;
  json.set_stringval(GetInitData());
  extraParams_["json"] = json;
  eventApi_.Init(browser());  // after SetBrowser this changes nothing
  if (jsSdk_) {
    jsSdk_->SetOrgId(GetOrgId());
    jsSdk_->SetBrowser(browser());
  }
  if (xhav::Browser* b = browser()) {
    for (const char* path : kPbViewPaths)
      b->AddHandler(DesktopAddress(path).c_str(), handlerCreator_.get());
  }
}

void TnBrowserPbUI::OnBeforeBrowserClose() {
  // From here on the view gets no events.
  eventApi_.Detach();
  RemoveDesktopHandlers(browser(), kPbViewPaths);
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
