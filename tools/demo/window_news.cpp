// Demo part: what a window and a person cause on real pages in Debian's Chromium. A light
// window is maximised and restored from its title bar and its page prints each
// "tn.onwindowChange"; a client page hears "updateactivestate" as another window takes the
// focus; files and a folder dragged from the desktop reach the client as "tn.ondragfile"; a
// link to the company's domain opens in the client and the view stays; a filtered view refuses
// another site.

#include <google/protobuf/unknown_field_set.h>

#include <filesystem>
#include <fstream>

#include "demo.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"
#include "win/user.h"

namespace demo {

namespace {

bool Results(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page,
             const std::function<bool(const Json::Value&)>& until, Json::Value* r) {
  return WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", r, 2000) && until(*r);
  });
}

void Press(HWND button) {
  win::SendMessageW(button, win::WM_LBUTTONDOWN, 0, win::MAKELPARAM(10, 10));
  win::SendMessageW(button, win::WM_LBUTTONUP, 0, win::MAKELPARAM(10, 10));
}

void Click(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page, const char* id) {
  Json::Value ignored;
  page->Evaluate(std::string("document.getElementById('") + id + "').click()", &ignored, 2000);
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return false;
      },
      500);
}

// The files of a "tn.ondragfile" event as the client reads them: its file list, read by field
// number (the host's side has no generated classes of the module's schema).
struct DroppedFile {
  std::string name, path;
  int64_t size = 0;
  bool folder = false;
};
std::vector<DroppedFile> ReadFileList(const std::string& bytes) {
  using google::protobuf::UnknownField;
  std::vector<DroppedFile> files;
  google::protobuf::UnknownFieldSet list;
  if (!list.ParseFromString(bytes)) return files;
  for (int i = 0; i < list.field_count(); ++i) {
    if (list.field(i).number() != 1 || list.field(i).type() != UnknownField::TYPE_LENGTH_DELIMITED)
      continue;
    google::protobuf::UnknownFieldSet info;
    if (!info.ParseFromString(list.field(i).length_delimited())) continue;
    DroppedFile file;
    for (int j = 0; j < info.field_count(); ++j) {
      const UnknownField& f = info.field(j);
      const bool text = f.type() == UnknownField::TYPE_LENGTH_DELIMITED;
      const bool number = f.type() == UnknownField::TYPE_VARINT;
      if (f.number() == 1 && text) file.name = f.length_delimited();
      if (f.number() == 2 && number) file.size = static_cast<int64_t>(f.varint());
      if (f.number() == 3 && number) file.folder = f.varint() == 4;  // a directory
      if (f.number() == 4 && text) file.path = f.length_delimited();
    }
    files.push_back(file);
  }
  return files;
}

const char* StateName(const std::string& state) {
  return state == "0" ? "restored" : state == "1" ? "minimised" : state == "2" ? "maximised" : "?";
}

}  // namespace

void WindowNews() {
  g_who = "[host]   ";
  ShowLog(2);
  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the window's news could not be shown")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus(
      [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");
  core->SetHandler([](const tnmainui::BusinessCall& call) {
    if (call.business == u"OpenUrl")
      Say("  the core's OpenUrl opens %s in the client", Utf8(call.json).c_str());
    return S_OK;
  });

  Say("== in Chromium: a light window maximised and restored from its title bar");
  OpenLightWindow(factory, 7, "expenses", "file://tavrin5main/light.html", "Expenses", 900, 560);
  xhav::cdp::PageBrowser* light = engine.browsers().back();
  Json::Value r;
  if (!Results(
          engine, light, [](const Json::Value& v) { return v["ready"].asBool(); }, &r)) {
    Fail("the light window's page did not get ready");
    return;
  }
  // The page's subscriptions reach the client a moment after its script made them.
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return false;
      },
      1000);
  HWND bar = ChildOfClass(light->GetWindowHandle(), "TN_WEB_TITLE");
  const std::vector<HWND> buttons = bar ? win::GetChildren(bar) : std::vector<HWND>();
  if (buttons.size() < 2) {
    Fail("the light window has no maximise button");
    return;
  }
  Say("  the user clicks the bar's maximise button, then the same button again (restore)");
  Press(buttons[1]);
  Results(
      engine, light, [](const Json::Value& v) { return v["windowChanges"].size() == 1; }, &r);
  if (bar) PaintBar(bar);
  SaveWindowPng(light, std::string(TNWEBUI_BUILD_DIR) + "/demo-window-maximised.png");
  Press(buttons[1]);
  const bool told = Results(
      engine, light, [](const Json::Value& v) { return v["windowChanges"].size() == 2; }, &r);
  for (const Json::Value& state : r["windowChanges"])
    Say("  the page heard \"tn.onwindowChange\" %s (%s)", state.asString().c_str(),
        StateName(state.asString()));
  if (!told || r["windowChanges"][0] != "2" || r["windowChanges"][1] != "0")
    Fail("the light window's page did not hear maximised then restored");
  SaveScreenshot(light, "demo-window-restored.png");

  Say("== a client page, file://tavrin5main/notices.html, hears its window's activation");
  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page =
      OpenReadyPage(engine, factory, u"Notices", "file://tavrin5main/notices.html", core, &view);
  if (!page) return;
  Say("  the user clicks the page's window, then the light window, then the page's again");
  win::SetForegroundWindow(page->GetWindowHandle());
  Results(
      engine, page, [](const Json::Value& v) { return v["active"].size() >= 1; }, &r);
  const Json::ArrayIndex before = r["active"].size();
  win::SetForegroundWindow(light->GetWindowHandle());
  win::SetForegroundWindow(page->GetWindowHandle());
  Results(
      engine, page, [&](const Json::Value& v) { return v["active"].size() >= before + 2; }, &r);
  for (const Json::Value& state : r["active"])
    Say("  the page heard \"updateactivestate\": %s", state.asString().c_str());
  const Json::ArrayIndex n = r["active"].size();
  if (n != before + 2 || r["active"][n - 2] != "inactive" || r["active"][n - 1] != "active")
    Fail("the page did not hear its window lose and regain the focus");

  Say("== files and a folder dragged from the desktop onto the page");
  const std::string folder = std::string(TNWEBUI_BUILD_DIR) + "/demo-drop";
  std::filesystem::create_directories(folder + "/photos");
  std::ofstream(folder + "/report.txt") << "Quarterly report: all figures within plan.\n";
  page->DragFiles({folder + "/report.txt", folder + "/photos"}, true);
  const bool dropped = WaitFor([&] {
    engine.ui().RunUntilIdle();
    for (const auto& e : bus.posted())
      if (e.name == "tn.ondragfile") return true;
    return false;
  });
  for (const auto& e : bus.posted()) {
    if (e.name != "tn.ondragfile") continue;
    Say("  the client heard \"tn.ondragfile\" for view %d:", e.type);
    for (const DroppedFile& f : ReadFileList(e.data))
      Say("    %s %s, %lld bytes, at %s", f.folder ? "folder" : "file", f.name.c_str(),
          static_cast<long long>(f.size), f.path.c_str());
  }
  Results(
      engine, page, [](const Json::Value& v) { return v["pageDrops"].asInt() > 0; }, &r);
  Say("  the page's own drop handler saw names only: %s", Compact(r["dropped"]).c_str());
  if (!dropped) Fail("the dropped files did not reach the client");
  SaveScreenshot(page, "demo-window-news.png");

  Say("== the page's links: the company's domain and the client's scheme open in the client");
  Click(engine, page, "company");
  Click(engine, page, "courier");
  Say("  a link to another site in this view, whose settings filter addresses (the default)");
  Click(engine, page, "foreign");
  Json::Value href;
  page->Evaluate("location.href", &href, 2000);
  Say("  the view stayed on %s", href.asString().c_str());
  int opened = 0;
  for (const auto& call : core->calls()) opened += call.business == u"OpenUrl";
  if (opened != 2 || href != "https://tavrin5main.pages.invalid/notices.html")
    Fail("the page's links were not asked of the view");

  light->Close(1);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return !light->alive();
  });
  CloseChromiumPart(engine, page, nullptr, view, factory, core);
}

}  // namespace demo
