// The commands any page may send: opening web and light windows with their size, place and
// title, asking whether a window exists, the contact chooser, and the dialogs that the client's
// main page shows for a page, whose answers come back as page events.

#include <fstream>
#include <map>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/live_count.h"
#include "base/reply_codes.h"
#include "coretnid.pb.h"
#include "coretnmedia.pb.h"
#include "light/tavrin_browser_handler.h"
#include "open_fixture.h"
#include "scratch_dir.h"
#include "win/shell.h"

using testing::ElementsAre;

namespace {

constexpr int kInvalidApi = interdata::InvalidAPI;

interdata::WindowProperty At(const std::string& type, int x, int y, int width, int height) {
  interdata::WindowProperty property;
  auto* pos = property.mutable_pos();
  pos->set_pos_type(type);
  pos->set_x(x);
  pos->set_y(y);
  pos->set_width(width);
  pos->set_height(height);
  return property;
}

// What the calls on a browser were, from `first` on.
std::vector<std::string> CallsFrom(xhav::inproc::BrowserImpl* browser, std::size_t first) {
  const auto calls = browser->calls();
  return std::vector<std::string>(calls.begin() + static_cast<long>(first), calls.end());
}

}  // namespace

using OpenWindow = OpenFixture;

TEST_F(OpenWindow, ALightWindowOpensWithItsSettingsAndAnOpenNameIsOnlyRaised) {
  interdata::WindowProperty property = At("bottomright", 0, 0, 300, 200);
  property.set_title("Notes");
  property.set_show_titlebar(true);
  property.set_resize(true);
  interdata::TavrinWindowData data = Data("notes");
  (*data.mutable_extra_params())["animation"] = Int(1);
  (*data.mutable_extra_params())["chat"] = Text("chat-9");
  const auto result = Open("https://notes.test/", data, &property);
  EXPECT_EQ(Codes(result), (std::vector<int>{0, kInvalidApi}));
  xhav::inproc::BrowserImpl* notes = Opened(result);
  ASSERT_NE(notes, nullptr);
  // The window's own page reads the opener's extra parameters.
  engine.RunUntilIdle();
  const std::vector<std::string> none;
  const auto init =
      engine.SendRequest(notes->GetId(), tnwebui::DesktopAddress("/window/init"), &none);
  interdata::Response response;
  interdata::TavrinWindowData told;
  ASSERT_TRUE(!init.writes.empty() && response.ParseFromString(init.writes[0]) &&
              told.ParseFromString(response.data()));
  EXPECT_EQ(told.name(), "notes");
  EXPECT_EQ(told.extra_params().at("chat").stringval(), "chat-9");
  EXPECT_EQ(told.extra_params().at("animation").intval(), 1);
  EXPECT_THAT(
      notes->param().calls,
      ElementsAre("SetStartHidden", "SetAnimation", "SetTitle", "SetShowTitleBar", "SetViewType",
                  "SetResizable", "SetHeight", "SetWidth", "SetLeft", "SetTop", "SetPlaced"));
  EXPECT_EQ(notes->param().viewType, 4);
  EXPECT_TRUE(notes->param().showTitleBar && notes->param().resizable);
  // One pixel inside the work area's bottom right corner (the desktop without its task bar).
  const win::Rect rect = RectOf(notes);
  EXPECT_EQ(rect.right, 1919);
  EXPECT_EQ(rect.bottom, 1039);

  // The same name again: the window comes forward as it is; nothing new, nothing reloaded.
  const std::size_t windows = engine.browsers().size();
  const std::size_t before = notes->calls().size();
  EXPECT_EQ(Codes(Open("https://elsewhere.test/", data, &property)), std::vector<int>{kInvalidApi});
  EXPECT_EQ(engine.browsers().size(), windows);
  EXPECT_THAT(CallsFrom(notes, before), ElementsAre("Restore", "SetTopMost(1)", "SetTopMost(0)"));
  // Without a property nothing is placed and no bar is asked for.
  xhav::inproc::BrowserImpl* bare = Opened(Open("https://bare.test/", Data("bare")));
  ASSERT_NE(bare, nullptr);
  EXPECT_THAT(bare->param().calls,
              ElementsAre("SetStartHidden", "SetShowTitleBar", "SetViewType", "SetResizable"));
}

TEST_F(OpenWindow, PlacesAtTheTopCentreBelowATaskBarAtTheTop) {
  HWND bar = win::CreateWindowModel("Shell_TrayWnd", nullptr, nullptr);
  win::SetWindowPos(bar, nullptr, 0, 0, 1920, 48, win::SWP_NOZORDER);
  interdata::WindowProperty property = At("topcenter", 5, 5, 400, 100);
  auto* centred = Opened(Open("https://c.test/", Data("centred"), &property));
  ASSERT_NE(centred, nullptr);
  EXPECT_EQ(RectOf(centred).left, (1920 - 400) / 2);
  EXPECT_EQ(RectOf(centred).top, 48);
  EXPECT_TRUE(centred->param().topCenter && centred->param().placed);
  // A task bar elsewhere leaves the window one pixel below the top.
  win::SetWindowPos(bar, nullptr, 0, 1040, 1920, 40, win::SWP_NOZORDER);
  EXPECT_EQ(RectOf(Opened(Open("https://c.test/", Data("centred2"), &property))).top, 1);
  win::DestroyWindow(bar);
}

TEST_F(OpenWindow, APreviousWindowMakesAPairCentredOnTheWorkArea) {
  interdata::WindowProperty first = At("", 10, 20, 400, 300);
  auto* left = Opened(Open("https://a.test/", Data("first"), &first));
  ASSERT_NE(left, nullptr);
  EXPECT_EQ(RectOf(left).left, 10);  // unscaled, where pos says

  interdata::WindowProperty second = At("", 30, 40, 200, 100);
  auto with = [&](const char* name, int32_t previous) {
    interdata::TavrinWindowData data = Data(name);
    (*data.mutable_extra_params())["prevWinId"] = Int(previous);
    return data;
  };
  // -1 and a window that doesn't exist: placed as pos says, the first window stays.
  EXPECT_EQ(RectOf(Opened(Open("https://b.test/", with("minus", -1), &second))).left, 30);
  EXPECT_EQ(RectOf(Opened(Open("https://b.test/", with("zero", 0), &second))).left, 30);
  // Without pos the previous window has no effect.
  Open("https://b.test/", with("nopos", left->GetId()));
  EXPECT_EQ(RectOf(left).left, 10);

  auto* right = Opened(Open("https://b.test/", with("pair", left->GetId()), &second));
  ASSERT_NE(right, nullptr);
  // Work area 1920 by 1040: (1920 - 400 - 200 - 3) / 2 = 658, (1040 - 100) / 2 = 470.
  EXPECT_EQ(RectOf(left).left, 658);
  EXPECT_EQ(RectOf(left).top, 470);
  EXPECT_EQ(RectOf(left).right - RectOf(left).left, 400);
  EXPECT_EQ(RectOf(right).left, 658 + 400 + 3);
  EXPECT_EQ(RectOf(right).top, 470);
}

TEST_F(OpenWindow, PlainOpensDragFileAndMissingCoresAnswerAsTheyMust) {
  const std::size_t windows = engine.browsers().size();
  EXPECT_EQ(Codes(Open("https://x.test/", Data("dragfile"))), std::vector<int>{kInvalidApi});
  EXPECT_EQ(engine.browsers().size(), windows);

  // With "json" the address opens as a web view named "openwindow", the json its initial data.
  interdata::TavrinWindowData plain = Data("anything");
  (*plain.mutable_extra_params())["json"] = Text(R"({"from":"page"})");
  EXPECT_EQ(Codes(Open("https://plain.test/", plain)), (std::vector<int>{0, kInvalidApi}));
  IBrowserView* opened = nullptr;
  factory->FindBrowserView(u"openwindow", &opened);
  ASSERT_NE(opened, nullptr);
  EXPECT_EQ(BrowserOf(opened)->url(), "https://plain.test/");
  opened->Release();

  EXPECT_EQ(Codes(Open("https://x.test/", Data("w", 8))),
            (std::vector<int>{tnwebui::reply::kNoBusinessCoreForOid, kInvalidApi}));
  host.SetService(SID_BusinessCoreService, nullptr);
  EXPECT_EQ(Codes(Open("https://x.test/", Data("w"))),
            (std::vector<int>{tnwebui::reply::kNoBusinessCoreService, kInvalidApi}));
}

TEST_F(OpenWindow, HaveWindowAsksByTitleAndTheChooserOpensWithItsTemplate) {
  interdata::WindowProperty property = At("", 0, 0, 100, 100);
  property.set_title("Report 7");
  Open("https://r.test/", Data("report"), &property);
  EXPECT_EQ(Codes(Send("/window/havewindow", Body({Text("Report 7")}))), std::vector<int>{0});
  EXPECT_EQ(Codes(Send("/window/havewindow", Body({Text("Report 8")}))), std::vector<int>{2});
  EXPECT_EQ(Codes(Send("/window/havewindow", Body({}))), std::vector<int>{1});
  EXPECT_EQ(Codes(Send("/window/havewindow", Body({Text("a"), Text("b")}))), std::vector<int>{1});

  const interdata::ParamItem none;
  auto chooser = [&](const interdata::ParamItem& oid) {
    return Codes(Send("/biz/common/choosecontacts",
                      Body({oid, none, none, none, Bytes("\xff"), Bytes("")})));
  };
  EXPECT_EQ(chooser(Int(0)), std::vector<int>{tnwebui::reply::kMaxCountNotPositive});
  EXPECT_EQ(chooser(Text("7")), std::vector<int>{tnwebui::reply::kMaxCountNotPositive});
  EXPECT_EQ(Codes(Send("/biz/common/choosecontacts", Body({Int(7)}))),
            std::vector<int>{interdata::ParamCount});
  EXPECT_EQ(chooser(Int(kOid)), std::vector<int>{0});
  IBrowserView* chooserView = nullptr;
  factory->FindBrowserView(u"TnPersonSelect", &chooserView);
  ASSERT_NE(chooserView, nullptr);
  // The view opens the other root than its settings name.
  EXPECT_EQ(BrowserOf(chooserView)->url(), "file://tavrin5main/personselect.html");
  EXPECT_THAT(Pb(chooserView)->GetInitData(),
              testing::HasSubstr(R"("orgDomain":"tn.org.7","orgName":"","parentWnd":3019094)"));
  chooserView->Release();
}

class Dialogs : public OpenFixture {
 protected:
  void SetUp() override {
    OpenFixture::SetUp();
    OpenMainPage();
  }
  interdata::TavrinWindowData Dialog(const std::string& name,
                                     const std::map<std::string, interdata::ParamItem>& extra) {
    interdata::TavrinWindowData data = Data(name);
    for (const auto& [key, item] : extra) (*data.mutable_extra_params())[key] = item;
    return data;
  }
  Json::Value LastCallJson() {
    Json::Value json;
    EXPECT_TRUE(tnwebui::ParseJson(tnwebui::WideToUtf8(channel.calls().back().params[3]), json));
    return json;
  }
  std::vector<tnmainui::PostedEvent> Events(const std::string& name) {
    engine.RunUntilIdle();
    std::vector<tnmainui::PostedEvent> found;
    for (const auto& event : eventBus.posted()) {
      if (event.name == name) found.push_back(event);
    }
    return found;
  }
};

TEST_F(Dialogs, AMessageBoxGoesToTheMainPageAndItsAnswerBecomesAnEvent) {
  const int handlers = tnwebui::LiveCounted<tnwebui::OpenBrowserHandler>::Live();
  Open("https://x.test/",
       Dialog("messagebox", {{"title", Text("Leave?")},
                             {"okText", Text("Yes")},
                             {"isShowCheckbox", Text(R"({"value":1,"isShow":1,"label":"Keep"})")},
                             {"isModal", interdata::ParamItem()},
                             {"dialogStyle", Int(2)}}));
  ASSERT_EQ(channel.calls().size(), 1u);
  const auto params = channel.calls().back().params;
  EXPECT_EQ(params[0] + u"/" + params[1] + u"/" + params[2] + u"/" + params[4],
            u"Common/MessageBox/0/0");
  const Json::Value box = LastCallJson();
  EXPECT_EQ(box["title"].asString(), "Leave?");
  EXPECT_EQ(box["cancelText"].asString(), "");
  EXPECT_EQ(box["Checked"].asInt(), 1);
  EXPECT_TRUE(box["isShowCheckBox"].asBool());
  EXPECT_EQ(box["checkTitle"].asString(), "Keep");
  EXPECT_EQ(box["style"].asInt(), 2);
  EXPECT_FALSE(box["isModal"].asBool());
  EXPECT_EQ(log.Count("Messagebox param:[" + tnwebui::WriteJson(box) + "]", 2,
                      "OpenBrowserHandler::onMessageBox"),
            1);
  // The open dialog keeps its handler; the answer lets go of it.
  EXPECT_EQ(tnwebui::LiveCounted<tnwebui::OpenBrowserHandler>::Live(), handlers + 1);
  channel.AnswerHeld(1, uR"({"checkBoxStatus":true,"windowid":5,"other":"x"})");
  EXPECT_EQ(tnwebui::LiveCounted<tnwebui::OpenBrowserHandler>::Live(), handlers);
  const auto events = Events("tn.messagebox");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].kind, "json");
  EXPECT_EQ(events[0].type, kOid);
  EXPECT_EQ(events[0].data, "{\"checkBoxStatus\":true,\"status\":1,\"windowid\":5}\n");

  // A checkbox text that is no JSON leaves its three keys out; an answer that is none sends
  // nothing.
  Open("https://x.test/", Dialog("messagebox", {{"isShowCheckbox", Text("{oops")}}));
  EXPECT_FALSE(LastCallJson().isMember("Checked"));
  channel.AnswerHeld(0, u"not json");
  EXPECT_EQ(Events("tn.messagebox").size(), 1u);
}

TEST_F(Dialogs, TheFileChooserPushesTheChosenFilesAsAMediaList) {
  Open("https://x.test/", Dialog("choosefile", {{"maxCount", Int(5)}, {"categoryType", Int(3)}}));
  EXPECT_EQ(tnwebui::WideToUtf8(channel.calls().back().params[3]),
            R"({"selectFileCount":5,"parentHwnd":0,"filterType":"file"})");
  channel.AnswerHeld(
      0,
      uR"([{"fileName":"a.txt","filePath":"C:\\d\\a.txt","fileSize":12},)"
      uR"({"fileName":"b.txt"},null,5,{"fileName":"c","filePath":"/c","fileSize":-1}])");
  auto events = Events("tn.choosefile");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].kind, "pbtext");
  interdata::CoreMediaList files;
  ASSERT_TRUE(files.ParseFromString(events[0].data));
  ASSERT_EQ(files.medias_size(), 2);
  EXPECT_EQ(files.medias(0).mediainfo().localpath(), "C:/d/a.txt");
  EXPECT_EQ(files.medias(0).mediainfo().size(), 12);
  EXPECT_EQ(files.medias(0).mediainfo().type(), 3);
  EXPECT_EQ(files.medias(1).mediainfo().size(), 0);

  Open("https://x.test/", Dialog("choosefile", {{"categoryType", Int(2)}}));
  EXPECT_THAT(tnwebui::WideToUtf8(channel.calls().back().params[3]),
              testing::EndsWith(R"("filterType":"image"})"));
  channel.AnswerHeld(0, u"[]");
  events = Events("tn.choosefile");
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[1].data, "");  // an empty list
}

TEST_F(Dialogs, SavesAndPreviewsGoThroughTheMediaService) {
  ScratchDir folder("tnwebui-dialogs");
  const std::string source = folder.path() + "/r.pdf";
  std::ofstream(source) << "pdf";
  media.SetLocalPath(kOid, 9, source);
  interdata::CoreMediaIdentifier file;
  file.set_oid(kOid);
  file.set_fid(9);
  Open("https://x.test/", Dialog("savefile", {{"fileName", Text("r.pdf")},
                                              {"mediaId", Bytes(file.SerializeAsString())}}));
  EXPECT_EQ(channel.calls().back().params[3], uR"({ "fileName":"r.pdf","filterType":"file"})");
  channel.AnswerHeld(
      0, tnwebui::Utf8ToWide(R"({"fileName":"copy.pdf","filePath":")" + folder.path() + "/\"}"));
  ASSERT_EQ(media.saves().size(), 1u);
  EXPECT_EQ(media.saves()[0].target, folder.path() + "/copy.pdf");
  EXPECT_TRUE(media.saves()[0].copied);
  // A media id of 0 saves nothing; one that doesn't parse asks nothing.
  file.set_fid(0);
  Open("https://x.test/", Dialog("savefile", {{"mediaId", Bytes(file.SerializeAsString())}}));
  channel.AnswerHeld(0, uR"({"fileName":"x","filePath":"/"})");
  EXPECT_EQ(media.saves().size(), 1u);
  const std::size_t asked = channel.calls().size();
  Open("https://x.test/", Dialog("savefile", {{"mediaId", Bytes("\xff")}}));
  EXPECT_EQ(channel.calls().size(), asked);

  // A preview shows the file in its folder, with the outcome as an event.
  std::vector<std::string> launched;
  auto previous = win::SetLauncher([&](const std::string& line, const std::vector<std::string>&) {
    launched.push_back(line);
    return true;
  });
  file.set_fid(9);
  Open("https://x.test/",
       Dialog("previewfile", {{"type", Int(1)}, {"mediaId", Bytes(file.SerializeAsString())}}));
  file.set_fid(10);
  Open("https://x.test/",
       Dialog("previewfile", {{"type", Int(1)}, {"mediaId", Bytes(file.SerializeAsString())}}));
  Open("https://x.test/", Dialog("previewfile", {{"type", Int(2)}}));
  win::SetLauncher(previous);
  ASSERT_EQ(launched.size(), 1u);
  EXPECT_THAT(launched[0], testing::HasSubstr(source));
  const auto events = Events("tn.previewfile");
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].data, R"({"code":0})");
  EXPECT_EQ(events[1].data, R"({"code":1000})");
}

TEST_F(Dialogs, WithoutTheMainPageNoDialogAppearsAndNoEventFollows) {
  core->SetBrowserView(u"TnMain", nullptr);
  Open("https://x.test/", Dialog("messagebox", {}));
  Open("https://x.test/", Dialog("choosefile", {}));
  EXPECT_TRUE(channel.calls().empty());
  EXPECT_TRUE(Events("tn.messagebox").empty());
  EXPECT_EQ(tnwebui::LiveCounted<tnwebui::OpenBrowserHandler>::Live(), 0);
}
