// Demo part: a light app in Debian's Chromium moves files through the client's JS SDK. The
// business core downloads from a loopback HTTP server into the web cache with progress, the
// host uploads the file "to a store" in steps, fetches another URL for the page and saves the
// file where the user chose.

#include <filesystem>

#include "demo.h"
#include "tnmainui/business_service.h"
#include "tnmainui/file_server.h"
#include "tnmainui/inproc_host.h"
#include "tnmainui/transfer_host.h"

namespace demo {
namespace {

// A folder of the demo's own under the temporary folder, gone with the object.
struct TempFolder {
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tnwebui-demo-XXXXXX").string();
    if (mkdtemp(pattern.data())) path = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

std::string PatternBytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 % 251);
  return bytes;
}

}  // namespace

void Transfers() {
  g_who = "[host]   ";
  ShowLog(1);
  TempFolder folder;
  const std::string appData = folder.path + "/appdata", hostFiles = folder.path + "/host";
  const std::string chosen = folder.path + "/chosen";
  for (const std::string& f : {appData, hostFiles, chosen}) std::filesystem::create_directory(f);
  setenv("APPDATA", appData.c_str(), 1);

  tnmainui::FileServer server;
  server.Serve("/reports/r.pdf", PatternBytes(96 * 1024), tnmainui::FileServer::Mode::kSlow,
               16 * 1024, 30);
  server.Serve("/notes/todo.txt", "1. ship the transfers\n");
  Say("== a loopback HTTP server at %s serves /reports/r.pdf (96 KiB, slowly, 16 KiB at a time) "
      "and /notes/todo.txt",
      server.Url("").c_str());

  Module m = Load();
  xhav::cdp::Engine engine(ChromiumOptions());
  if (!ChromiumReady(engine, "the transfers could not run")) return;
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::ScriptedBusinessService service;  // downloads for real, over HTTP
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  tnmainui::ScriptedBusinessChannel channel(
      [&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); });
  tnmainui::TransferHost transfers(hostFiles);
  channel.SetScript([&](const tnmainui::ChannelCall& call) {
    const std::string action = Utf8(call.params[1]);
    // The host's trace keeps the store's secret to itself.
    std::string json = Utf8(call.params[3]);
    const auto secret = json.find("\"secretKey\":\"");
    if (secret != std::string::npos) {
      const auto from = secret + 13, to = json.find('"', from);
      json.replace(from, to - from, "(hidden)");
    }
    Say("  the host's business channel gets %s/%s %s", Utf8(call.params[0]).c_str(), action.c_str(),
        json.c_str());
    std::vector<tnmainui::ChannelAnswer> answers;
    if (!transfers.Answer(call, &answers) && action == "OpenSaveAsWnd") {
      Say("  the user picks %s/ in the save box and keeps the name", chosen.c_str());
      std::string name = Utf8(call.params[3]);
      name = name.substr(name.find(":\"") + 2);
      name = name.substr(0, name.find('"'));
      answers.push_back({0, u"{\"fileName\":\"" + std::u16string(name.begin(), name.end()) +
                                u"\",\"filePath\":\"" +
                                std::u16string(chosen.begin(), chosen.end()) + u"/\"}"});
    }
    for (const auto& answer : answers) Say("    it answers %s", Utf8(answer.result).c_str());
    return answers;
  });
  engine.SetBusinessChannel(&channel);
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");

  Say("== in Chromium: a light app, file://tavrin5main/transfers.html");
  IBrowserView* view = nullptr;
  xhav::cdp::PageBrowser* page = OpenReadyPage(engine, factory, u"Transfers",
                                               "file://tavrin5main/transfers.html", core, &view);
  Json::Value r;
  Say("== the page downloads %s, uploads it to the store, has the host fetch %s and saves the "
      "download",
      server.Url("/reports/r.pdf?v=3&X-Amz-Signature=abc").c_str(),
      server.Url("/notes/todo.txt").c_str());
  page->Evaluate("window.startTransfers('" + server.Url("/reports/r.pdf?v=3&X-Amz-Signature=abc") +
                     "', '" + server.Url("/notes/todo.txt") + "'), true",
                 nullptr, 1000);
  WaitFor(
      [&] {
        engine.ui().RunUntilIdle();
        return page->Evaluate("window.results", &r, 300) && r["done"].asBool();
      },
      20000);
  Say("  the page heard %u download progress events:", r["downloads"].size());
  for (const Json::Value& event : r["downloads"]) Say("    %s", Compact(event).c_str());
  Say("  utils.downloadFile answered: %s", Compact(r["download"]).c_str());
  Say("  utils.uploadFileToS3: %u progress events:", r["uploads"].size());
  for (const Json::Value& event : r["uploads"]) Say("    %s", Compact(event).c_str());
  Say("  and the final answer as the page's bridge received it: %s", r["s3Raw"].asString().c_str());
  Say("  utils.uploadFile (the host fetched the URL) answered: %s", Compact(r["fetched"]).c_str());
  Say("  utils.saveFile answered: %s", Compact(r["saved"]).c_str());
  for (const auto& entry : std::filesystem::directory_iterator(chosen)) {
    Say("    the chosen folder now holds %s, %ju bytes", entry.path().filename().c_str(),
        static_cast<uintmax_t>(entry.file_size()));
  }
  if (!r["success"].asBool()) Fail("the page's transfers did not all succeed");
  CloseChromiumPart(engine, page, "demo-transfers.png", view, factory, core);
  engine.SetBusinessChannel(nullptr);
  unsetenv("APPDATA");
}

}  // namespace demo
