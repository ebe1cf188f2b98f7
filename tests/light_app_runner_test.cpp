// tnwebui-run's reading of a light app's steps: the live lines, the mistakes --check reports,
// the declarations it checks payloads against, and the host file.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "../tools/run/app_source.h"
#include "../tools/run/folder_watch.h"
#include "../tools/run/host_file.h"
#include "../tools/run/report.h"
#include "../tools/run/script.h"
#include "../tools/run/sdk_declarations.h"
#include "../tools/run/watch.h"
#include "hav/json_text.h"

namespace {

Json::Value Args(std::initializer_list<Json::Value> items) {
  Json::Value args(Json::arrayValue);
  for (const Json::Value& item : items) args.append(item);
  return args;
}

struct Watched {
  std::vector<std::string> lines;
  run::Watch watch{[this](const std::string& line) { lines.push_back(line); }};
  // The lines after their times.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const std::string& line : lines) texts.push_back(line.substr(10));
    return texts;
  }
  void Sdk(const std::string& messages) {
    watch.OnMessage(true, 1, "havFetchJSMessage", Args({messages}));
  }
  void Answer(const std::string& json) {
    watch.OnScript(1, "TavrinJsBridge._handleMessageFromObjC('" + json + "');");
  }
};

TEST(LightAppRunner, ACallsLifeIsOneLineAStepAndAnAnsweredCallIsNoMistake) {
  Watched w;
  w.Sdk(
      R"([{"handlerName":"utils.downloadFile","callbackId":"cb_1","data":{"payload":{"url":"http://x/a?v=1"}}}])");
  for (int loaded : {10, 20, 30, 60, 100}) {
    w.Answer(
        R"({"callbackId":"cb_1","handlerName":"utils.onDownloadProgress","data":{"payload":{"localId":"res://local/a","total":100,"loaded":)" +
        std::to_string(loaded) + "}}}");
  }
  w.Answer(
      R"({"responseId":"cb_1","responseData":{"status":{"code":0,"message":"ok"},"data":{"localId":"res://local/a"}}})");
  w.watch.OnMessage(true, 1, "exebusinessaction", Args({"Expense", "Submit", "", "{}", "e1"}));
  w.watch.OnMessage(false, 1, "push_notify", Args({"k", 1, "tn.onclose", "json", "{}"}));
  w.watch.OnRequest(1, "/window/min", "200");
  w.watch.OnPageMessage(1, "console", "warning", "low disk", "https://a/b.html:3");
  w.watch.Finish();
  EXPECT_EQ(w.Texts(), (std::vector<std::string>{
                           R"(sdk      utils.downloadFile {"payload":{"url":"http://x/a?v=1"}})",
                           "progress utils.downloadFile 10 B of 100 B (10%)",
                           "progress utils.downloadFile 30 B of 100 B (30%)",
                           "progress utils.downloadFile 60 B of 100 B (60%)",
                           "progress utils.downloadFile 100 B of 100 B (100%)",
                           R"(answer   utils.downloadFile 0 ok {"localId":"res://local/a"})",
                           "action   Expense/Submit {}",
                           "event    tn.onclose (json) {}",
                           "desktop  /window/min 200",
                           "console  warning: low disk (https://a/b.html:3)",
                       }));
  EXPECT_EQ(w.watch.Report(), "no mistakes\n");
}

TEST(LightAppRunner, EachKindOfMistakeIsReportedOnceWithItsCount) {
  Watched w;
  w.Sdk(
      R"([{"handlerName":"media.takePhoto","callbackId":"cb_1","data":{}},)"
      R"({"handlerName":"utils.share","callbackId":"cb_2","data":{"payload":{"title":1,"content":"c"}}},)"
      R"({"handlerName":"media.chooseImage","callbackId":"cb_3","data":"all"},)"
      R"({"handlerName":"utils.onUploadProgress","callbackId":"cb_4","data":{}},)"
      R"({"handlerName":"biz.openContactsCard","callbackId":"cb_5","data":{}}])");
  w.Sdk("not json");
  w.Sdk(R"([{"data":{}}])");
  w.watch.OnPageMessage(1, "error", "error", "Uncaught TypeError: x", "https://a/b.html:9");
  w.watch.OnPageMessage(1, "error", "error", "Uncaught TypeError: x", "https://a/b.html:9");
  w.watch.OnPageMessage(1, "violation", "error", "Loading the image 'x' violates", "");
  w.watch.OnLog(4, "TnBrowserAdaptUI::ExecuteBusinessAction",
                "check auth fail for action = contact, action = hello");
  w.Answer(R"({"responseId":"cb_1","responseData":{"status":{"code":0,"message":"ok"}}})");
  // A framework's caught error, the page checks' finding, a file that failed (Chromium's own
  // icon request is no file of the app's), and classic actions of a light window: the one
  // whose callback waits is a mistake, the one without a callback is not.
  w.watch.OnPageMessage(1, "console", "error", "[vue] render failed", "https://a/b.html:4");
  w.watch.OnPageMessage(1, "console", "error", "[tnwebui-run] its json is an object", "");
  w.watch.OnPageMessage(1, "load", "error", "Failed to load resource: 404", "https://a/app.js");
  w.watch.OnPageMessage(1, "load", "error", "Failed to load resource: 404",
                        "https://a/favicon.ico");
  w.watch.OnMessage(true, 1, "exebusinessaction", Args({"expense", "submit", "", "{}", "7"}));
  w.watch.OnMessage(true, 1, "exebusinessaction", Args({"expense", "note", "", "{}", ""}));
  w.watch.OnActionUnanswered("expense/submit");
  w.watch.OnActionUnanswered("expense/note");
  w.watch.Finish();
  EXPECT_EQ(w.watch.Report(),
            "16 mistakes\n"
            "  unknown SDK name: media.takePhoto\n"
            "  payload refused: utils.share: data.payload.title is a number, not a string\n"
            "  payload refused: utils.share: data.payload.url is missing (a string)\n"
            "  payload refused: media.chooseImage: data is a string, not an object\n"
            "  unreadable bridge message: not json\n"
            "  unreadable bridge message: {\"data\":{}}\n"
            "  page error: Uncaught TypeError: x (https://a/b.html:9) (2 times)\n"
            "  CSP violation: Loading the image 'x' violates\n"
            "  business action refused: contact/hello\n"
            "  console error: [vue] render failed (https://a/b.html:4)\n"
            "  wrong argument: its json is an object\n"
            "  not loaded: https://a/app.js: Failed to load resource: 404\n"
            "  never answered: tnpc.exebusinessaction(expense/submit) with callback 7: a light "
            "window's classic business actions get no answer, so the callback never runs; a "
            "light app asks the client through the JS SDK (TavrinJsBridge.callHandler)\n"
            "  callback never answered: utils.share (callback cb_2)\n"
            "  callback never answered: media.chooseImage (callback cb_3)\n");
}

// What a script waits for and what a window serves: calls are counted by name, a call without a
// callback gets its name on its answer, the back command's answer must have its shape, and a
// light window serves none of tnpc's window functions.
TEST(LightAppRunner, CallsAreCountedAndBackAnswersAndWindowFunctionsAreJudged) {
  Watched w;
  w.Sdk(R"([{"handlerName":"ui.setNavigationBarMenu","data":{"payload":{}}}])");
  w.watch.OnMessage(true, 1, "closewnd", Args({}));
  EXPECT_EQ(w.watch.Calls(), 2);
  EXPECT_EQ(w.watch.Calls("ui.setNavigationBarMenu"), 1);
  EXPECT_EQ(w.watch.Calls("closewnd"), 1);
  EXPECT_EQ(w.watch.Calls("ui.closeWindow"), 0);
  w.Answer(R"({"responseId":"","responseData":{"status":{"code":0,"message":"ok"},"data":{}}})");
  EXPECT_EQ(w.Texts().back(), "answer   ui.setNavigationBarMenu (no callback) 0 ok {}");
  // The page's answers to the back command: the old shape, then the declared one.
  w.Sdk(
      R"([{"handlerName":"ui.onHistoryBack","responseId":"b1","responseData":{"result":true}},)"
      R"({"handlerName":"ui.onHistoryBack","responseId":"b2","responseData":{"data":{"result":false}}}])");
  EXPECT_EQ(w.watch.Calls(), 2);  // answers are no calls
  const std::vector<run::Mistake> found = w.watch.mistakes();
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].kind, "never served");
  EXPECT_EQ(found[0].detail.rfind("tnpc.closewnd(): a light window serves none", 0), 0u);
  EXPECT_EQ(found[1].kind, "back answer refused");
  EXPECT_EQ(found[1].detail.rfind(R"(ui.onHistoryBack answered {"result":true}: the client)", 0),
            0u);
  // In a framed window the window functions are served.
  Watched framed;
  framed.watch.SetLightWindow(false);
  framed.watch.OnMessage(true, 1, "closewnd", Args({}));
  EXPECT_TRUE(framed.watch.mistakes().empty());
}

TEST(LightAppRunner, ScriptStepsAreReadOrRefusedWithTheirLine) {
  run::Step step;
  std::string error;
  ASSERT_TRUE(run::ParseStep("  after call ui.closeWindow ", ".", &step, &error));
  EXPECT_EQ(step.kind, run::Step::kCall);
  EXPECT_EQ(step.argument, "ui.closeWindow");
  ASSERT_TRUE(run::ParseStep("pick ./a.png ../b/c.pdf", "/x/y", &step, &error));
  EXPECT_EQ(step.files, (std::vector<std::string>{"/x/y/a.png", "/x/b/c.pdf"}));
  ASSERT_TRUE(run::ParseStep("click #send > button", ".", &step, &error));
  EXPECT_EQ(step.argument, "#send > button");
  const std::pair<const char*, const char*> bad[] = {
      {"wait soon", "needs a number of seconds"}, {"wait -1", "needs a number of seconds"},
      {"after lunch", "waits for nothing known"}, {"answer {not json", "answers with no JSON text"},
      {"press forward", "is not one of"},         {"click", "is not one of"},
  };
  for (const auto& [text, expected] : bad) {
    EXPECT_FALSE(run::ParseStep(text, ".", &step, &error)) << text;
    EXPECT_NE(error.find(expected), std::string::npos) << text << " -> " << error;
  }
  const std::string path = std::string(TNWEBUI_BUILD_DIR) + "/script-test.txt";
  std::ofstream(path) << "# a comment\n\nwait 1\nshoot the moon\n";
  std::vector<run::Step> steps;
  EXPECT_FALSE(run::ReadScript(path, &steps, &error));
  EXPECT_EQ(error.rfind(path + ":4: the step 'shoot the moon' is not one of", 0), 0u) << error;
  std::filesystem::remove(path);
}

TEST(LightAppRunner, TheDeclarationsHaveThirtyNamesAndCheckTypesNotJustPresence) {
  ASSERT_EQ(run::SdkNames().size(), 30u);
  const run::SdkName* location = run::FindSdkName("device.displayLocation");
  ASSERT_NE(location, nullptr);
  Json::Value data;
  data["payload"]["latitude"] = "31.2";
  data["payload"]["longitude"] = 121.5;
  EXPECT_TRUE(run::RefusedPayload(*location, data).empty());
  data["payload"]["latitude"] = true;
  EXPECT_EQ(run::RefusedPayload(*location, data),
            std::vector<std::string>{"data.payload.latitude is a boolean, not a string|number"});
  const run::SdkName* image = run::FindSdkName("media.previewImage");
  Json::Value urls;
  urls["payload"]["urls"].append("a");
  urls["payload"]["urls"].append(2);
  EXPECT_EQ(run::RefusedPayload(*image, urls),
            std::vector<std::string>{"data.payload.urls is an array, not a string[]"});
  EXPECT_TRUE(
      run::RefusedPayload(*run::FindSdkName("biz.chooseContacts"), Json::Value(Json::objectValue))
          .empty());
  EXPECT_TRUE(run::RefusedPayload(*image, Json::Value()).empty());  // no data at all
  // Fields beside the payload, and a misspelt or unknown key in it.
  Json::Value unwrapped;
  unwrapped["meta"] = Json::objectValue;
  unwrapped["current"] = "a";
  EXPECT_EQ(run::RefusedPayload(*image, unwrapped),
            std::vector<std::string>{
                "data has current but no payload: the client reads only data.payload"});
  Json::Value misspelt;
  misspelt["payload"]["curent"] = "a";
  misspelt["payload"]["zoom"] = 2;
  EXPECT_EQ(run::RefusedPayload(*image, misspelt),
            (std::vector<std::string>{
                "data.payload.curent is no field of media.previewImage (did you mean current?)",
                "data.payload.zoom is no field of media.previewImage (the client ignores it)"}));
  EXPECT_EQ(run::FindSdkName("media.takePhoto"), nullptr);
}

TEST(LightAppRunner, AHostFileSetsWhatItNamesAndRefusesWhatItDoesNotKnow) {
  run::HostFile file;
  std::string error;
  ASSERT_TRUE(run::ParseHostFile(
      R"({"user":{"orgId":9},"secret":"s",)"
      R"("server":{"port":18000,"files":{"/a":{"size":5},"/b":{"file":"b.bin","slow":true}}},)"
      R"("voices":{"hi.wav":3},"allowAnyPage":true,)"
      R"("chooser":{"images":["a.png"],"contacts":{"users":[{"staffId":"ou_c","name":"C"}],)"
      R"("sectors":[]}}})",
      "h.json", &file, &error))
      << error;
  EXPECT_EQ(file.orgId, 9);
  EXPECT_EQ(file.account, "account-42");  // a default stays
  EXPECT_EQ(file.images, std::vector<std::string>{"a.png"});
  EXPECT_EQ(file.port, 18000);
  EXPECT_EQ(file.downloads.size(), 2u);
  EXPECT_TRUE(file.downloads["/b"].slow);
  EXPECT_EQ(file.voices["hi.wav"], 3u);
  EXPECT_EQ(file.contacts, R"({"sectors":[],"users":[{"name":"C","staffId":"ou_c"}]})");
  EXPECT_TRUE(file.allowAnyPage);

  const std::pair<const char*, const char*> bad[] = {
      {"[1]", "h.json: the file is not an object"},
      {"{", "h.json: not JSON"},
      {R"({"user":{"orgId":1.5}})", "h.json: user.orgId is not a whole number from 1 to"},
      {R"({"user":{"name":"x"}})", "h.json: user.name is not a key of the host file"},
      {R"({"chooser":{"images":["a",2]}})", "h.json: chooser.images[1] is not a string"},
      {R"({"server":{"port":70000}})", "h.json: server.port is not a whole number from 0 to 65535"},
      {R"({"server":{"files":{"a":{"size":1}}}})", "does not begin with /"},
      {R"({"server":{"files":{"/a":{}}}})", "needs one of \"file\" and \"size\""},
      // A light window's classic actions get no answer: a key for their answers can't act.
      {R"({"actions":{"A/B":{}}})", "h.json: actions can't act: a light window's"},
      // Chooser results the client never raises.
      {R"({"chooser":{"contacts":{"people":[]}}})", "chooser.contacts.people is not a key"},
      {R"({"chooser":{"contacts":{"sectors":[]}}})", "chooser.contacts.users is missing"},
      {R"({"chooser":{"departments":{"users":[{"staffId":7,"name":"x"}]}}})",
       "chooser.departments.users[0].staffId is not a string"},
      {R"({"allowAnyPage":"yes"})", "h.json: allowAnyPage is not true or false"},
      {R"({"voices":{"a.wav":true}})", "h.json: voices.a.wav is not a whole number"},
  };
  for (const auto& [text, expected] : bad) {
    run::HostFile defaults;
    EXPECT_FALSE(run::ParseHostFile(text, "h.json", &defaults, &error)) << text;
    EXPECT_NE(error.find(expected), std::string::npos) << text << " -> " << error;
  }
  EXPECT_FALSE(run::ReadHostFile("/no/such/host.json", &file, &error));
  EXPECT_EQ(error, "/no/such/host.json: cannot be read");
}

TEST(LightAppRunner, EveryExampleHostFileReadsAndNamesFilesBesideIt) {
  for (const char* app : {"expenses", "faulty"}) {
    run::HostFile file;
    std::string error;
    const std::string path = std::string(TNWEBUI_PAGES_DIR) + "/../examples/" + app + "/host.json";
    EXPECT_TRUE(run::ReadHostFile(path, &file, &error)) << error;
  }
  const std::string folder = std::string(TNWEBUI_BUILD_DIR) + "/host-file-test";
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/h.json") << R"({"chooser":{"files":["doc.pdf","/abs.pdf"]}})";
  run::HostFile file;
  std::string error;
  ASSERT_TRUE(run::ReadHostFile(folder + "/h.json", &file, &error)) << error;
  EXPECT_EQ(file.files, (std::vector<std::string>{folder + "/doc.pdf", "/abs.pdf"}));
  std::filesystem::remove_all(folder);
}

}  // namespace

// The report in CI's forms, and the comparison with an expected one: each kind once with its
// count, text escaped for XML, expected lines matching mistakes by their beginnings.
TEST(LightAppRunner, ReportsForCiAndTheExpectedReport) {
  const std::vector<run::Counted> mistakes = {
      {{"page error", "Uncaught <b> & \"x\"\x01"}, 2},
      {{"not loaded", "https://a/app.js: Failed to load resource: 404"}, 1}};
  Json::Value json;
  ASSERT_TRUE(xhav::ParseJson(run::JsonReport(mistakes, "its time is up", 2.5), &json));
  EXPECT_EQ(json["outcome"], "its time is up");
  ASSERT_EQ(json["mistakes"].size(), 2u);
  EXPECT_EQ(json["mistakes"][0]["times"], 2);
  EXPECT_EQ(json["mistakes"][1]["kind"], "not loaded");
  const std::string junit = run::JunitReport(mistakes, "its time is up", 2.5);
  EXPECT_NE(junit.find(R"(tests="2" failures="2")"), std::string::npos) << junit;
  EXPECT_NE(junit.find("Uncaught &lt;b&gt; &amp; &quot;x&quot; "), std::string::npos) << junit;
  EXPECT_EQ(junit.find('\x01'), std::string::npos);
  EXPECT_NE(run::JunitReport({}, "the page closed its window", 1).find(R"(name="no mistakes")"),
            std::string::npos);

  std::vector<std::string> differences;
  EXPECT_TRUE(run::CompareWithExpected(mistakes,
                                       "# the faulty app\n  page error: Uncaught\n\n"
                                       "not loaded: https://a/app.js\r\n",
                                       &differences));
  EXPECT_TRUE(differences.empty());
  EXPECT_FALSE(run::CompareWithExpected(mistakes, "page error: Uncaught\nconfig refused: x\n",
                                        &differences));
  EXPECT_EQ(differences,
            (std::vector<std::string>{
                "missing: config refused: x",
                "unexpected: not loaded: https://a/app.js: Failed to load resource: 404"}));
}

// A policy's refusal is placed at the element that asked for the refused address, found in the
// app's own file; elsewhere it keeps the place Chromium gave.
TEST(LightAppRunner, APolicysRefusalIsPlacedAtItsElement) {
  const std::string folder = std::string(TNWEBUI_BUILD_DIR) + "/csp-place-test";
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/index.html")
      << "<!doctype html>\n<title>x</title>\n"
      << "<img src=\"https://cdn.example/logo.png\">\n<p>end</p>\n";
  run::AppSource app;
  app.folder = folder;
  const std::string page = "https://tavrin5.frames.invalid/lightapp/index.html";
  EXPECT_EQ(run::LineInAppFile(app, page + "?v=1#top", "https://cdn.example/logo.png"), 3);
  EXPECT_EQ(run::LineInAppFile(app, page, "https://other.example/"), 0);
  EXPECT_EQ(run::LineInAppFile(app, "https://tavrin5.frames.invalid/lightapp/../x", "a"), 0);
  EXPECT_EQ(run::LineInAppFile(app, "https://elsewhere.example/index.html", "logo"), 0);

  Watched w;
  w.watch.SetSourceFinder([&app](const std::string& address, const std::string& text) {
    return run::LineInAppFile(app, address, text);
  });
  const std::string refusal =
      "Loading the image 'https://cdn.example/logo.png' violates the following directive";
  w.watch.OnPageMessage(1, "violation", "error", refusal, page + ":4");
  w.watch.OnPageMessage(1, "violation", "error", "Loading the image 'https://x/' violates",
                        page + ":4");
  const std::vector<run::Mistake> found = w.watch.mistakes();
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].detail, refusal + " (" + page + ":3)");
  EXPECT_EQ(found[1].detail, "Loading the image 'https://x/' violates (" + page + ":4)");
  std::filesystem::remove_all(folder);
}

// --watch sees a file changed, added or removed anywhere in the app's folder, once each.
TEST(LightAppRunner, TheWatchSeesEachChangeOfTheAppsFilesOnce) {
  const std::string folder = std::string(TNWEBUI_BUILD_DIR) + "/folder-watch-test";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder + "/js");
  std::ofstream(folder + "/index.html") << "1";
  run::FolderWatch files(folder);
  EXPECT_EQ(files.Changed(), "");
  std::ofstream(folder + "/js/app.js") << "added";
  EXPECT_EQ(files.Changed(), folder + "/js/app.js");
  EXPECT_EQ(files.Changed(), "");
  std::filesystem::last_write_time(
      folder + "/index.html",
      std::filesystem::last_write_time(folder + "/index.html") + std::chrono::seconds(2));
  EXPECT_EQ(files.Changed(), folder + "/index.html");
  std::filesystem::remove(folder + "/js/app.js");
  EXPECT_EQ(files.Changed(), folder + "/js/app.js");
  std::filesystem::remove_all(folder);
}
