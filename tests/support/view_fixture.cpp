#include "view_fixture.h"

ViewFixture::ViewFixture(bool mainThreadIsUi) {
  if (mainThreadIsUi) engine.ui().BindCurrentThread();
  host.SetService(SID_EventBus, static_cast<EventBus*>(&eventBus));
  module = std::make_unique<tnwebui::TnWebUIModule>(&host);
  previous = tnwebui::TnWebUIModule::Install(module.get());
  factory = module->GetOrCreateFactory();
  render = std::make_unique<tnwebui::RenderProcess>(module.get());
  render->RegisterNativeExtension();
  engine.render_host()->SetRenderNotify(render.get());
  core = new tnmainui::ScriptedBusinessCore(u"org-1", "account-1");
}

ViewFixture::~ViewFixture() {
  // Windows still open close now, so that their views go.
  engine.ui().Stop();
  engine.renderer().Stop();
  engine.RunUntilIdle();
  for (auto* browser : engine.browsers()) {
    if (browser->alive()) browser->FinishClose();
  }
  engine.RunUntilIdle();
  engine.render_host()->SetRenderNotify(nullptr);
  tnwebui::TnWebUIModule::Install(previous);
  module.reset();
  core->Release();
}

IBrowserViewSetting* ViewFixture::Settings(const std::u16string& name, int type,
                                           const std::string& initData, bool withCore) {
  IBrowserViewSetting* settings = nullptr;
  EXPECT_EQ(factory->CreateBrowserViewSetting(&settings), S_OK);
  settings->SetName(name.c_str());
  settings->SetViewType(type);
  settings->SetInitData(initData.c_str());
  if (withCore) settings->SetBusinessCore(core);
  return settings;
}

IBrowserView* ViewFixture::Create(IBrowserViewSetting* settings, const std::string& url) {
  IBrowserView* view = nullptr;
  EXPECT_EQ(factory->CreateBrowserView(url.c_str(), settings, &view), S_OK);
  settings->Release();
  if (pump) engine.RunUntilIdle();
  return view;
}

xhav::inproc::BrowserImpl* ViewFixture::BrowserOf(IBrowserView* view) {
  xhav::Browser* browser = Pb(view)->browser();
  return browser ? engine.FindBrowser(browser->GetId()) : nullptr;
}

tnwebui::TnBrowserPbUI* ViewFixture::Pb(IBrowserView* view) {
  return static_cast<tnwebui::TnBrowserPbUI*>(view);
}

uint32_t ViewFixture::RefCount(IUnknown* object) {
  object->AddRef();
  return object->Release();
}
