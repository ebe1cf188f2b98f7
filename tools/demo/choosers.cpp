// Demo part: a light app in Debian's Chromium uses the client's choosers. The host's file dialog
// gives it two pictures (with thumbnails made for real) and a file over the size the page
// allows, which is refused with a tip; the contact chooser opens as the client's sample page,
// where a click picks a person, and the result goes back to the light app as its answer.

#include <QImage>
#include <filesystem>
#include <fstream>

#include "demo.h"
#include "tnmainui/business_service.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/file_dialog_host.h"
#include "tnmainui/inproc_host.h"
#include "win/timed_tip.h"

namespace demo {

void Choosers() {
  g_who = "[host]   ";
  ShowLog(2);
  std::string folder = (std::filesystem::temp_directory_path() / "tnwebui-choose-XXXXXX").string();
  if (!mkdtemp(folder.data())) return Fail("no folder for the pictures");
  std::vector<std::string> pictures;
  for (const auto& [name, colour] :
       {std::pair{"harbour", Qt::darkCyan}, {"field", Qt::darkGreen}}) {
    QImage image(640, 480, QImage::Format_RGB32);
    image.fill(colour);
    pictures.push_back(folder + "/" + name + ".png");
    image.save(QString::fromStdString(pictures.back()), "PNG");
  }
  const std::string big = folder + "/minutes.pdf";
  std::ofstream(big).close();
  std::filesystem::resize_file(big, 250000);

  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the choosers could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  tnmainui::FileDialogHost dialog(folder);
  bool contactsAsked = false;
  tnmainui::ScriptedBusinessChannel channel(
      [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); });
  channel.SetScript([&](const tnmainui::ChannelCall& call) {
    const std::string json = Utf8(call.params[3]);
    Say("  the host's channel gets %s/%s %s", Utf8(call.params[0]).c_str(),
        Utf8(call.params[1]).c_str(), json.c_str());
    std::vector<tnmainui::ChannelAnswer> answers;
    if (call.params[1] == u"choosecontacts") {
      contactsAsked = true;  // the chooser opens below, as its own window
    } else {
      const bool images = json.find("\"image\"") != std::string::npos;
      Say("  in the file dialog the user picks %s",
          images ? "harbour.png and field.png" : "minutes.pdf (250000 bytes)");
      dialog.Answer(call, images ? pictures : std::vector<std::string>{big}, &answers);
    }
    return answers;
  });
  engine.SetBusinessChannel(&channel);
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: a light app, file://tavrin5main/choosers.html");
  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page =
      OpenReadyPage(engine, factory, u"Choosers", "file://tavrin5main/choosers.html", core, &view);
  Json::Value r;
  const std::size_t tips = win::TimedTipsShown().size();
  page->Evaluate("window.runChoosers(), true", nullptr, 1000);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return contactsAsked;
  });
  for (std::size_t i = tips; i < win::TimedTipsShown().size(); ++i) {
    Say("  a tip shows: %s (the size tip takes the text of IDS_STR_BUTTON_RESTORE, as the client "
        "has it)",
        Utf8(win::TimedTipsShown()[i]).c_str());
  }
  IBrowserView* chooserView = nullptr;
  OpenView(factory, u"TnPersonSelect", "file://tavrin5main/personselect.html", core, "{}",
           &chooserView);
  xhav::cdp::PageBrowser* chooser = engine.browsers().back();
  Json::Value where, chosen;
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return chooser->Evaluate("window.where('people-102')", &where, 300) && where.isObject();
  });
  Say("== the contact chooser opens (file://tavrin5main/personselect.html); the user clicks "
      "Ben Okafor at (%.0f, %.0f)",
      where["x"].asDouble(), where["y"].asDouble());
  chooser->Click(where["x"].asDouble(), where["y"].asDouble());
  WaitFor([&] { return chooser->Evaluate("window.chosen", &chosen, 300) && chosen.isObject(); });
  SaveScreenshot(chooser, "demo-personselect.png");
  Say("  the client raises \"tn.onchooseresult\" with %s", Compact(chosen).c_str());
  bus.Raise(7, "tn.onchooseresult", "json", Compact(chosen));
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["done"].asBool();
  });
  Say("  media.chooseImage answered code %d with %u images; thumbnail data addresses of %zu and "
      "%zu characters",
      r["images"]["status"]["code"].asInt(), r["images"]["data"]["tempFiles"].size(),
      r["images"]["data"]["tempFiles"][0]["base64"].asString().size(),
      r["images"]["data"]["tempFiles"][1]["base64"].asString().size());
  Say("  biz.chooseLocalFile answered %s", Compact(r["file"]).c_str());
  Say("  biz.chooseContacts answered %s", Compact(r["contact"]).c_str());
  if (!r["success"].asBool()) Fail("the light app's choosers did not all succeed");
  chooser->Close(1);
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return !chooser->alive();
  });
  chooserView->Release();
  CloseChromiumPart(engine, page, "demo-choosers.png", view, factory, core);
  engine.SetBusinessChannel(nullptr);
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace demo
