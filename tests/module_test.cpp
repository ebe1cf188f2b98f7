// The module's two exports and its slots, in one process as the host drives them.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>

#include "hav/inproc_engine.h"
#include "log_capture.h"
#include "tn_webui_module.h"
#include "tnmainui/inproc_host.h"
#include "tnwebui/tnwebui.h"

namespace {

constexpr char kStartLine[] =
    "current process is render process, start notify RenderProcess launched";

xhav::inproc::Engine& HostEngine() {
  static xhav::inproc::Engine engine(xhav::kProcessTypeBrowser);
  return engine;
}

xhav::inproc::Engine& RenderEngine() {
  static xhav::inproc::Engine engine(xhav::kProcessTypeRender);
  return engine;
}

tnmainui::InProcessHost& Host() {
  static tnmainui::InProcessHost host(HostEngine().core(), HostEngine().render_host());
  return host;
}

TavrinModule* Module() { return CreateTavrinModule(&Host()); }

}  // namespace

TEST(ModuleEntry, SecondCreateReturnsTheFirstModuleWithItsHost) {
  TavrinModule* first = Module();
  tnmainui::InProcessHost other(nullptr, nullptr);
  EXPECT_EQ(CreateTavrinModule(&other), first);
  EXPECT_EQ(first->GetHost(), &Host());
  EXPECT_EQ(tnwebui::GetModuleHost(), &Host());
}

TEST(ModuleEntry, CreateInterfaceRejectsBadArgumentsWithoutMakingAFactory) {
  Module();
  void* out = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(CreateInterface(&IID_ITnWebUI, nullptr), E_INVALIDARG);
  EXPECT_EQ(CreateInterface(&IID_IUnknown, &out), E_NOTIMPL);
  EXPECT_EQ(CreateInterface(&SID_EventBus, &out), E_NOTIMPL);
  EXPECT_EQ(CreateInterface(nullptr, &out), E_NOTIMPL);
  EXPECT_EQ(out, reinterpret_cast<void*>(0x1));
  EXPECT_EQ(tnwebui::GetBrowserFactory(), nullptr);
}

TEST(ModuleEntry, OneFactoryWithAReferenceForEachCaller) {
  Module();
  void* a = nullptr;
  void* b = nullptr;
  ASSERT_EQ(CreateInterface(&IID_ITnWebUI, &a), S_OK);
  ASSERT_EQ(CreateInterface(&IID_ITnWebUI, &b), S_OK);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a, b);
  auto* factory = static_cast<ITnWebUI*>(a);
  // The module's own reference plus one for each call.
  EXPECT_EQ(factory->AddRef(), 4u);
  EXPECT_EQ(factory->Release(), 3u);
  EXPECT_EQ(factory->Release(), 2u);
  EXPECT_EQ(factory->Release(), 1u);

  void* unknown = nullptr;
  EXPECT_EQ(factory->QueryInterface(IID_IUnknown, &unknown), S_OK);
  EXPECT_EQ(unknown, a);
  void* none = nullptr;
  EXPECT_EQ(factory->QueryInterface(SID_EventBus, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(factory->Release(), 1u);
}

TEST(ModuleEntry, ModuleLoadedRegistersOneCreatorUnderThreeAddressesEachTime) {
  Module()->OnModuleLoaded(7);
  Module()->OnModuleLoaded(0);
  const auto regs = HostEngine().registrations();
  ASSERT_EQ(regs.size(), 6u);
  const char* paths[] = {"/window/open", "/biz/common/choosecontacts", "/window/havewindow"};
  for (size_t i = 0; i < regs.size(); ++i) {
    EXPECT_EQ(regs[i].first, std::string("https://tnpc-desktop.invalid") + paths[i % 3]);
    EXPECT_EQ(regs[i].second, regs[0].second);
  }
  EXPECT_NE(regs[0].second, nullptr);
}

TEST(ModuleEntry, ProcessInitedStartsTheRenderSideOnlyInARenderProcess) {
  auto* module = static_cast<tnwebui::TnWebUIModule*>(Module());
  LogCapture log;

  module->OnProcessInited(0);  // host process
  EXPECT_EQ(log.Count(kStartLine), 0);
  EXPECT_EQ(module->render_process(), nullptr);
  EXPECT_EQ(HostEngine().render_notify(), nullptr);

  Host().SetHav(nullptr, nullptr);  // no hav at all
  module->OnProcessInited(0);
  EXPECT_EQ(module->render_process(), nullptr);

  Host().SetHav(RenderEngine().core(), RenderEngine().render_host());
  module->OnProcessInited(0);
  tnwebui::RenderProcess* render = module->render_process();
  ASSERT_NE(render, nullptr);
  EXPECT_EQ(RenderEngine().render_notify(), render);
  module->OnProcessInited(0);
  EXPECT_EQ(module->render_process(), render);
  EXPECT_EQ(log.Count(kStartLine, 2, "TnWebUIModule::OnProcessInited"), 2);
  EXPECT_EQ(RenderEngine().extensions().size(), 1u);
  Host().SetHav(HostEngine().core(), HostEngine().render_host());
}

TEST(SharedLibrary, ExportsExactlyTheTwoEntryFunctions) {
  const char* path = std::getenv("TNWEBUI_LIBRARY");
  ASSERT_NE(path, nullptr);
  FILE* nm = popen((std::string("nm -D --defined-only ") + path).c_str(), "r");
  ASSERT_NE(nm, nullptr);
  std::set<std::string> functions;
  char line[512];
  while (fgets(line, sizeof line, nm)) {
    std::istringstream in(line);
    std::string address, type, name;
    if (in >> address >> type >> name && (type == "T" || type == "W" || type == "i")) {
      functions.insert(name);
    }
  }
  EXPECT_EQ(pclose(nm), 0);
  EXPECT_EQ(functions, (std::set<std::string>{"CreateInterface", "CreateTavrinModule"}));
}

TEST(ModuleEntry, ARegistryThatDeletesTheCreatorLeavesTheModuleNothingToFree) {
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  {
    tnwebui::TnWebUIModule module(&host);
    module.OnModuleLoaded(0);
    ASSERT_EQ(engine.registrations().size(), 3u);
    xhav::HandlerCreator* creator = engine.registrations()[0].second;
    ASSERT_EQ(creator, module.handler_creator());
    creator->DeleteCreator();  // hav frees it
    EXPECT_EQ(module.handler_creator(), nullptr);
    module.OnModuleLoaded(0);  // and a later load makes a new one
    EXPECT_NE(module.handler_creator(), nullptr);
  }  // the module frees only the one it still holds: no double free under ASan
}
