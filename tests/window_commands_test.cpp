// Window commands: the tool tip, the shake, the folder chooser, the folder size under a limit
// (over real folders), the temporary folder; and the favourite tip.

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "jsapi.pb.h"
#include "light/desktop_origin.h"
#include "light/tavrin_browser_handler.h"
#include "light/tool_tip.h"
#include "scratch_dir.h"
#include "view_fixture.h"
#include "wait.h"
#include "win/files.h"
#include "win/paint.h"
#include "win/window.h"

namespace {

// A request with a body, for the handler called directly.
class BodyRequest final : public xhav::Request,
                          public xhav::PostElements,
                          public xhav::PostElement {
 public:
  BodyRequest(std::string path, const interdata::ParamList& list)
      : path_(std::move(path)), body_(list.SerializeAsString()) {}
  TnString* GetPath() override { return allocStringFromUTF8(path_.c_str()); }
  const xhav::PostElements* GetPostElements() override { return this; }
  void Write(const void* data, std::size_t length) override {
    interdata::Response response;
    response.ParseFromArray(data, static_cast<int>(length));
    replies.push_back(response);
  }
  std::size_t GetCount() const override { return 1; }
  const xhav::PostElement* GetElement(std::size_t i) const override { return i ? nullptr : this; }
  std::size_t GetBytesCount() const override { return body_.size(); }
  const void* GetBytes() const override { return body_.data(); }
  std::vector<interdata::Response> replies;

 private:
  std::string path_, body_;
};

interdata::ParamList Items(std::initializer_list<std::string> texts) {
  interdata::ParamList list;
  for (const std::string& text : texts) list.add_items()->set_stringval(text);
  return list;
}

// A file of `size` bytes that takes no room on the disk.
void Sparse(const std::string& path, off_t size) {
  std::ofstream(path).close();
  ASSERT_EQ(truncate(path.c_str(), size), 0);
}

}  // namespace

class WindowCommands : public ViewFixture {
 protected:
  WindowCommands() {
    view = Create(Settings(u"Win"), "https://win.test/");
    handler = std::make_unique<tnwebui::BrowserHandler>(Pb(view)->tavrin_browser());
  }
  ~WindowCommands() override {
    tnwebui::CloseToolTip();
    WaitUntil([] { return !win::FindWindowW(tnwebui::kToolTipClass, nullptr); });
    win::SetFolderBrowser(nullptr);
    view->Release();
  }
  // The page sends `path` with `list`, served by the window's registrations; its Responses.
  std::vector<interdata::Response> Run(const char* path, const interdata::ParamList& list) {
    const std::vector<std::string> body{list.SerializeAsString()};
    const auto result =
        engine.SendRequest(BrowserOf(view)->GetId(), tnwebui::DesktopAddress(path), &body);
    EXPECT_TRUE(result.served) << path;
    std::vector<interdata::Response> replies;
    for (const std::string& bytes : result.writes) {
      replies.emplace_back();
      replies.back().ParseFromString(bytes);
    }
    return replies;
  }
  // The same through the handler itself, for the light windows' own commands, which a plain
  // view doesn't register (/window/tooltip, /window/setalwaysontop).
  std::vector<interdata::Response> RunLight(const char* path, const interdata::ParamList& list) {
    BodyRequest request(path, list);
    handler->OnRequest(&request);
    return request.replies;
  }
  Json::Value Data(const interdata::Response& response) {
    Json::Value value;
    EXPECT_TRUE(tnwebui::ParseJson(response.data(), value)) << response.data();
    return value;
  }
  std::vector<int> Codes(const std::vector<interdata::Response>& replies) {
    std::vector<int> codes;
    for (const auto& r : replies) codes.push_back(r.code());
    return codes;
  }

  IBrowserView* view = nullptr;
  std::unique_ptr<tnwebui::BrowserHandler> handler;
  ScratchDir scratch{"window-commands"};
};

TEST_F(WindowCommands, FolderSizeCountsUpToTheLimitAndStopsPastIt) {
  const std::string folder = scratch.path() + "/box";
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  ASSERT_EQ(mkdir((folder + "/inner").c_str(), 0700), 0);
  Sparse(folder + "/a.bin", 104857600 - 10);
  Sparse(folder + "/inner/b.txt", 10);
  // Exactly the default limit: reported, with the size text.
  auto replies = Run("/window/getfoldersize", Items({"", folder}));
  ASSERT_EQ(Codes(replies), std::vector<int>{0});
  Json::Value data = Data(replies[0]);
  EXPECT_EQ(data["fileSize"].asUInt64(), 104857600u);
  EXPECT_EQ(data["formatFileSize"].asString(), "100.00MB");
  EXPECT_EQ(data["fileName"].asString(), "box");
  EXPECT_EQ(data["filePath"].asString(), folder);
  EXPECT_TRUE(data["isFolder"].asBool());
  // A trailing separator gives the same walk (and an empty name: nothing follows it).
  replies = Run("/window/getfoldersize", Items({"", folder + "/"}));
  EXPECT_EQ(Data(replies.at(0))["fileSize"].asUInt64(), 104857600u);
  EXPECT_EQ(Data(replies.at(0))["fileName"].asString(), "");
  // One byte more is refused: the limit is strictly greater.
  Sparse(folder + "/c", 1);
  EXPECT_EQ(Codes(Run("/window/getfoldersize", Items({"", folder}))), std::vector<int>{-2});
  EXPECT_EQ(Codes(Run("/window/getfoldersize", Items({"104857601", folder}))), std::vector<int>{0});
  // A missing folder is an empty walk; an empty path is answered and walked all the same.
  replies = Run("/window/getfoldersize", Items({"", folder + "/none"}));
  EXPECT_EQ(Data(replies.at(0))["fileSize"].asUInt64(), 0u);
  EXPECT_EQ(Codes(Run("/window/getfoldersize", Items({"1", ""}))), (std::vector<int>{-3, -2}));
}

TEST_F(WindowCommands, LinksToFoldersAreNotFollowedAndTheWalkStopsAtTheFirstFilePast) {
  const std::string big = scratch.path() + "/big", box = scratch.path() + "/box";
  ASSERT_EQ(mkdir(big.c_str(), 0700), 0);
  ASSERT_EQ(mkdir(box.c_str(), 0700), 0);
  Sparse(big + "/huge", 1LL << 32);
  Sparse(box + "/small", 5);
  ASSERT_EQ(symlink(big.c_str(), (box + "/link").c_str()), 0);
  auto replies = Run("/window/getfoldersize", Items({"", box}));
  EXPECT_EQ(Data(replies.at(0))["fileSize"].asUInt64(), 5u);
  // Past the limit at the first file: nothing more is collected.
  tnwebui::FolderEntries entries;
  int64_t total = 0;
  EXPECT_TRUE(tnwebui::WalkFolder(tnwebui::Utf8ToWide(big), u"*.*", entries, total, 10));
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(total, 1LL << 32);
  // A negative limit is passed at the first file.
  EXPECT_EQ(Codes(Run("/window/getfoldersize", Items({"-1", box}))), std::vector<int>{-2});
}

TEST_F(WindowCommands, TheFolderChooserAndTheTemporaryFolder) {
  EXPECT_EQ(Codes(Run("/window/openFolder", {})), std::vector<int>{-1});  // cancelled
  HWND owner = nullptr;
  win::SetFolderBrowser([&owner](HWND hwnd, uint32_t flags) {
    owner = hwnd;
    return flags == win::BIF_RETURNONLYFSDIRS ? std::u16string(u"/home/ann/Döcs") : u"";
  });
  auto replies = Run("/window/openFolder", {});
  EXPECT_EQ(owner, view->GetHwnd());
  // The writer escapes what isn't ASCII.
  EXPECT_EQ(replies.at(0).data(),
            R"({"fileName":"D\u00f6cs","filePath":"/home/ann/D\u00f6cs","isFolder":true})"
            "\n");
  replies = Run("/window/getwindowtemp", {});
  std::string temp = tnwebui::WideToUtf8(win::GetTempPathW());
  temp.pop_back();
  EXPECT_EQ(Data(replies.at(0))["path"].asString(), temp);
  EXPECT_NE(temp.back(), '/');
}

TEST_F(WindowCommands, SizeShakeAndTopNeedTheirItems) {
  HWND hwnd = view->GetHwnd();
  win::SetWindowPos(hwnd, nullptr, 100, 200, 640, 480, win::SWP_NOZORDER);
  interdata::ParamList three;
  for (int v : {1, 2, 3}) three.add_items()->set_intval(v);
  EXPECT_EQ(Codes(Run("/window/setwindowsize", three)), std::vector<int>{1});
  EXPECT_EQ(win::GetWindowState(hwnd).x, 100);  // nothing moved
  win::ShowWindow(hwnd, win::SW_MINIMIZE);
  const int before = win::GetWindowState(hwnd).moves;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(Run("/window/shakewindow", {}).empty());
  const auto state = win::GetWindowState(hwnd);
  EXPECT_EQ(state.moves - before, 24);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(480));
  EXPECT_EQ(std::vector<int>({state.x, state.y, state.width, state.height}),
            std::vector<int>({100, 200, 640, 480}));
  EXPECT_FALSE(state.minimized);
  EXPECT_EQ(win::GetForegroundWindow(), hwnd);
  interdata::ParamList on;
  on.add_items()->set_intval(2);
  RunLight("/window/setalwaysontop", on);
  EXPECT_THAT(BrowserOf(view)->calls(), testing::Contains("SetTopMost(1)"));
}

TEST_F(WindowCommands, AToolTipShowsItsTextAndANewOneClosesTheOld) {
  EXPECT_EQ(Codes(RunLight("/window/tooltip", Items({"", "two"}))),
            std::vector<int>{interdata::ParamCount});
  interdata::ParamList first;
  first.add_items();
  first.add_items()->set_stringval("Saved to your folder");
  first.add_items()->set_intval(60000);
  EXPECT_EQ(Codes(RunLight("/window/tooltip", first)), std::vector<int>{0});
  EXPECT_EQ(log.Count("Create ToolTip text[Saved to your folder],time[60000]", 2,
                      "BrowserHandler::onShowToolTip"),
            1);
  HWND tip = nullptr;
  ASSERT_TRUE(WaitUntil([&] {
    tip = win::FindWindowW(tnwebui::kToolTipClass, u"");
    return tip && win::GetWindowState(tip).visible;
  }));
  const auto state = win::GetWindowState(tip);
  EXPECT_EQ(std::vector<int>({state.width, state.height}), std::vector<int>({568, 54}));
  EXPECT_EQ(state.x, (1920 - 568) / 2);
  EXPECT_EQ(state.alpha, 242);
  EXPECT_EQ(state.exStyle, 0x00080080u);
  EXPECT_TRUE(state.topmost);
  // A text that fits stands in the middle; a wider one starts at the left and ends in "...".
  EXPECT_EQ(win::GetPaintedText(tip).text, u"Saved to your folder");
  EXPECT_EQ(win::GetPaintedText(tip).format, win::DT_CENTER | win::DT_VCENTER | win::DT_SINGLELINE);
  EXPECT_TRUE(win::SaveWindowImage(tip, TNWEBUI_BUILD_DIR "/tooltip-short.png"));

  interdata::ParamList second = first;
  second.mutable_items(1)->set_stringval(std::string(40, 'W') + " a text far wider than the tip");
  EXPECT_EQ(Codes(RunLight("/window/tooltip", second)), std::vector<int>{0});
  ASSERT_TRUE(WaitUntil([&] { return !win::IsWindow(tip); }));  // the first went at once
  HWND next = nullptr;
  ASSERT_TRUE(WaitUntil([&] {
    next = win::FindWindowW(tnwebui::kToolTipClass, u"");
    return next && win::GetWindowState(next).visible;
  }));
  EXPECT_TRUE(win::SaveWindowImage(next, TNWEBUI_BUILD_DIR "/tooltip-elided.png"));
  EXPECT_EQ(win::GetPaintedText(next).format,
            win::DT_VCENTER | win::DT_SINGLELINE | win::DT_END_ELLIPSIS);
  win::Font font{"Microsoft YaHei", -19, 400, 0x86};
  EXPECT_GE(win::GetTextWidth(font, tnwebui::Utf8ToWide(second.items(1).stringval())), 568);

  // A tip goes by itself when its time is up.
  interdata::ParamList brief = first;
  brief.mutable_items(2)->set_intval(200);
  EXPECT_EQ(Codes(RunLight("/window/tooltip", brief)), std::vector<int>{0});
  HWND third = nullptr;
  ASSERT_TRUE(WaitUntil([&] {
    third = win::FindWindowW(tnwebui::kToolTipClass, u"");
    return third && win::GetPaintedText(third).text == u"Saved to your folder" &&
           win::GetWindowState(third).visible;
  }));
  EXPECT_TRUE(WaitUntil([&] { return !win::IsWindow(third); }));
}

TEST_F(WindowCommands, TheFolderSizeEventTellsPagesTheSizeOrThatTheLimitPassed) {
  const std::string folder = scratch.path() + "/ev";
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  Sparse(folder + "/f", 300);
  tnwebui::ReportFolderSize(1000, folder);
  tnwebui::ReportFolderSize(100, folder);
  const auto posted = eventBus.posted();
  ASSERT_EQ(posted.size(), 2u);
  EXPECT_EQ(posted[0].name, "tn.getfilesize");
  Json::Value size;
  tnwebui::ParseJson(posted[0].data, size);
  EXPECT_EQ(size["fileSize"].asInt(), 300);
  EXPECT_EQ(posted[1].data, "{\"code\":-2}\n");
}
