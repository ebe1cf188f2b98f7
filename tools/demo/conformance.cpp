// Demo part: the conformance page for authors of light apps, in Debian's Chromium. The page
// calls all thirty names of the client's JS SDK once through its own TavrinJsBridge and renders
// a table of each name's answer, the events it received, and whether that is what the client
// promises. The host gives it what the client would: the business core's identity answers and
// a sample organisation, a loopback file server, the file dialog, the voice player on its own
// thread, the contact picker's result and the forward dialog's outcome as bus events. The back
// button of the window's title bar asks the page, which goes back; "ui.closeWindow" runs last.

#include <json/reader.h>

#include <QImage>
#include <QString>
#include <filesystem>
#include <fstream>
#include <memory>

#include "demo.h"
#include "tnmainui/business_service.h"
#include "tnmainui/contacts_host.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/file_dialog_host.h"
#include "tnmainui/file_server.h"
#include "tnmainui/inproc_host.h"
#include "tnmainui/signature.h"
#include "tnmainui/transfer_host.h"
#include "tnmainui/voice_player.h"
#include "win/user.h"
#include "win/window.h"

namespace demo {
namespace {

constexpr char kPage[] = "file://tavrin5main/conformance.html";

}  // namespace

void Conformance() {
  g_who = "[host]   ";
  ShowLog(4);
  std::string folder = (std::filesystem::temp_directory_path() / "tnwebui-conform-XXXXXX").string();
  if (!mkdtemp(folder.data())) return Fail("no folder for the files");
  const std::string picture = folder + "/harbour.png", video = folder + "/clip.mp4",
                    document = folder + "/minutes.pdf", voice = folder + "/greeting.wav";
  QImage image(320, 240, QImage::Format_RGB32);
  image.fill(Qt::darkCyan);
  image.save(QString::fromStdString(picture), "PNG");
  std::ofstream(video) << std::string(4096, 'v');
  std::ofstream(document) << std::string(2048, 'd');
  tnmainui::VoicePlayer::WriteSilentWave(voice, 16000);  // two seconds
  setenv("APPDATA", folder.c_str(), 1);  // the web cache of downloads lives under it

  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the conformance page could not run")) return;
  auto post = [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); };
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::InProcessEventBus bus(post);
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  tnmainui::ContactsHost organisation;
  tnmainui::ScriptedBusinessService service;
  service.SetScript([&organisation](const tnmainui::GoCall& call) {
    tnmainui::GoAnswer answer;
    if (organisation.AnswerCore(call, &answer)) {
      Say("  the business core's own thread answers OpenSectorMembers from the organisation");
      return answer;
    }
    return SampleIdentityCore(call);
  });
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  tnmainui::FileServer server;
  server.Serve("/reports/q3.pdf", std::string(64 * 1024, 'q'), tnmainui::FileServer::Mode::kSlow,
               16 * 1024, 20);
  server.Serve("/images/harbour.png", std::string(1024, 'p'));
  tnmainui::TransferHost transfers(folder, 3);
  tnmainui::FileDialogHost dialog(folder);
  tnmainui::VoicePlayer player(post, std::chrono::milliseconds(250));

  tnmainui::ScriptedBusinessChannel channel(post);
  channel.SetTaker([&player](const tnmainui::ChannelCall& call, IBrowserViewCallback* callback) {
    const bool taken = player.Take(call, callback);
    if (taken) {
      Say("  the voice player (its own thread) takes %s %s", Utf8(call.params[1]).c_str(),
          Utf8(call.params[3]).c_str());
    }
    return taken;
  });
  channel.SetScript([&](const tnmainui::ChannelCall& call) {
    const std::string action = Utf8(call.params[1]), json = Utf8(call.params[3]);
    Say("  the host's channel gets %s/%s %s", Utf8(call.params[0]).c_str(), action.c_str(),
        json.c_str());
    std::vector<tnmainui::ChannelAnswer> answers;
    if (transfers.Answer(call, &answers) || organisation.Answer(call, &answers)) return answers;
    if (action == "openfiledialog") {
      const bool images = json.find("\"image\"") != std::string::npos;
      const bool videos = json.find("\"video\"") != std::string::npos;
      dialog.Answer(call, {images ? picture : videos ? video : document}, &answers);
    } else if (action == "OpenSaveAsWnd") {
      answers = {{0, u"{\"fileName\":\"saved-q3.pdf\",\"filePath\":\"" +
                         QString::fromStdString(folder).toStdU16String() + u"/\"}"}};
    } else if (action == "choosecontacts") {
      const bool sectors = json.find("onlySupportSector") != std::string::npos;
      const std::string chosen = sectors ? R"({"users":[],"sectors":[{"sectorId":"os_sales"}]})"
                                         : R"({"users":[{"staffId":"ou_bob","name":"Bob"}]})";
      Say("  the contact picker: the user chooses, the client raises tn.onchooseresult %s",
          chosen.c_str());
      bus.Raise(7, "tn.onchooseresult", "json", chosen);
    } else if (action == "JSSdkShare") {
      Json::Value request;
      std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
      reader->parse(json.data(), json.data() + json.size(), &request, nullptr);
      Say("  the forward dialog: the user picks a chat; the client raises %s {\"code\":0}",
          request["eventName"].asString().c_str());
      bus.Raise(7, request["eventName"].asString(), "json", R"({"code":0})");
    }
    return answers;
  });
  engine.SetBusinessChannel(&channel);
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: the conformance page, %s, in a framed window; it arrives through two "
      "navigations of its own, so the title bar's back button is enabled",
      kPage);
  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page =
      OpenFramedPage(engine, factory, u"Conformance", (std::string(kPage) + "?first").c_str(), core,
                     {20, 20, 1300, 1000}, &view);
  Json::Value r;
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["ready"].asBool();
  });
  const std::string signature = tnmainui::SignFields(kSampleAppSecret, "7-1001", "n-42",
                                                     "1700000000", std::string(kPage) + "?run");
  Json::Value given;
  given["signature"] = signature;
  given["file"] = server.Url("/reports/q3.pdf?v=1");
  given["image"] = server.Url("/images/harbour.png");
  given["video"] = "https://videos.test/clip.mp4";
  given["voice"] = "res://local/" + voice;
  page->Evaluate("window.runAll(" + Compact(given) + "), true", nullptr, 1000);
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return page->Evaluate("window.results", &r, 300) && r["done"].asBool();
      },
      60000);

  Say("== the user presses the title bar's back button: the client asks the page's "
      "ui.onHistoryBack handler, which says yes, and the page goes back");
  if (!PressBackButton(page->GetWindowHandle()))
    return Fail("the framed window has no back button");
  WaitFor([&] {
    engine.ui().RunUntilIdle();
    return page->Evaluate("window.results", &r, 300) && r["backDone"].asBool();
  });
  Json::Value rows;
  page->Evaluate("window.summary()", &rows, 1000);
  SaveScreenshot(page, "demo-conformance.png");

  Say("== ui.closeWindow, last: the answer reaches the page, then the window closes");
  page->Evaluate("window.runClose(), true", nullptr, 1000);
  const bool closed = WaitFor([&] {
    engine.ui().RunUntilIdle();
    return !page->alive();
  });
  Say("  the window %s", closed ? "closed" : "is STILL OPEN");

  Say("  %-3s %-29s %-34s %-46s %s", "#", "name", "answer", "events", "verdict");
  int passed = 0;
  for (const Json::Value& row : rows) {
    std::string verdict = row["verdict"].asString();
    if (row["name"] == "ui.closeWindow") verdict = closed ? "pass" : "fail";
    passed += verdict == "pass";
    const std::string answer =
        row["name"] == "ui.closeWindow" ? "answered, then closed" : row["answer"].asString();
    Say("  %-3d %-29s %-34.34s %-46s %s", row["n"].asInt(), row["name"].asCString(), answer.c_str(),
        row["events"].asCString(), verdict == "pass" ? "as promised" : "NOT AS PROMISED");
  }
  Say("  %d of %u names as the client promises them", passed, rows.size());
  if (rows.size() != 30 || passed != 30) Fail("not every SDK name behaved as promised");
  view->Release();
  factory->Release();
  core->Release();
  engine.SetBusinessChannel(nullptr);
  unsetenv("APPDATA");
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace demo
