// The choosers of a light app: files, images and videos from the host's file dialog with the
// page's limits applied to the answer, and contacts or departments from the client's picker,
// whose result arrives as an event.

#include <gmock/gmock.h>

#include <QByteArray>
#include <QImage>
#include <fstream>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "light/tavrin_browser_jssdk/tavrin_js_sdk.h"
#include "scratch_dir.h"
#include "sdk_templates.h"
#include "tnbase/files.h"
#include "tnmainui/business_service.h"
#include "tnmainui/file_dialog_host.h"
#include "view_fixture.h"
#include "win/timed_tip.h"

namespace {

using testing::ElementsAre;
using tnwebui::JsSdkFunction;

class Choosers : public ViewFixture {
 protected:
  Choosers() {
    view = Create(Settings(u"choosers"), "https://light.test/app");
    browser = BrowserOf(view);
    Pb(view)->js_sdk()->SetViewParam(R"({"appid":"app-7"})");
    engine.SetBusinessChannel(&channel);
    channel.SetScript([this](const tnmainui::ChannelCall&) { return answers; });
  }
  ~Choosers() override {
    engine.SetBusinessChannel(nullptr);
    engine.RunUntilIdle();
    tnbase::globalTaskQueue(0)->Flush();
    view->Release();
  }
  // The page calls `handler` with `data`, the host answers with `answers`; the scripts that
  // ran in the page since.
  std::vector<std::string> Call(const std::string& handler, const std::string& data) {
    const std::size_t before = browser->scripts().size();
    EXPECT_TRUE(browser->page()->FetchJSMessage(R"([{"handlerName":")" + handler +
                                                R"(","callbackId":"cb_1","data":)" + data + "}]"));
    engine.RunUntilIdle();
    tnbase::globalTaskQueue(0)->Flush();
    const auto all = browser->scripts();
    return std::vector<std::string>(all.begin() + static_cast<long>(before), all.end());
  }
  void HostAnswers(const std::u16string& result) { answers = {{0, result}}; }
  static std::string Response(const std::string& json) {
    return "TavrinJsBridge._handleMessageFromObjC('{\"responseId\":\"cb_1\",\"responseData\":" +
           json + "}');";
  }
  static std::string Answer(int envelope, int code, const std::string& json) {
    std::string head;
    JsSdkFunction::FormatText(head, sdk_text::kTemplates[envelope].head, code);
    return Response(head + json + sdk_text::kTemplates[envelope].tail);
  }
  std::string LastQuestion() { return tnwebui::WideToUtf8(channel.calls().back().params[3]); }
  // The tips shown since `from`, as UTF-8.
  static std::vector<std::string> TipsFrom(std::size_t from) {
    const auto all = win::TimedTipsShown();
    std::vector<std::string> tips;
    for (std::size_t i = from; i < all.size(); ++i) tips.push_back(tnwebui::WideToUtf8(all[i]));
    return tips;
  }

  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
  std::vector<tnmainui::ChannelAnswer> answers;
  tnmainui::ScriptedBusinessChannel channel{
      [this](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }};
};

TEST_F(Choosers, FilesAreCheckedAgainstTheCountAndSizeThePageGave) {
  const int live = JsSdkFunction::Live();
  // Without "max" every selection is refused.
  HostAnswers(uR"([{"fileName":"a.txt","filePath":"/d/a.txt","fileSize":5}])");
  std::size_t tips = win::TimedTipsShown().size();
  EXPECT_THAT(Call("biz.chooseLocalFile", R"({"payload":{"maxTip":"Too many"}})"),
              ElementsAre(Answer(4, tnwebui::sdk::kBadSelection, "[]")));
  EXPECT_THAT(TipsFrom(tips), ElementsAre("Too many"));
  EXPECT_EQ(LastQuestion(), "{\"filterType\":\"file\",\"selectFileCount\":0}\n");

  HostAnswers(
      uR"([{"fileName":"big.pdf","filePath":"/d/big.pdf","fileSize":200},)"
      uR"({"fileName":"empty.txt","filePath":"/d/empty.txt","fileSize":0},)"
      uR"({"fileName":"a.txt","filePath":"C:\\d\\a.txt","fileSize":50},null,5])");
  tips = win::TimedTipsShown().size();
  const auto scripts =
      Call("biz.chooseLocalFile", R"({"payload":{"max":5,"maxSize":100,"types":["pdf","txt"]}})");
  EXPECT_THAT(scripts, ElementsAre(Answer(4, 0,
                                          R"([{"localId":"res://local/C:/d/a.txt","name":"a.txt",)"
                                          R"("size":50,"type":"txt"}])")));
  // The size tip takes the text of a button's key, as the client has it.
  EXPECT_THAT(TipsFrom(tips), ElementsAre("Restore", "empty.txt文件大小为0KB"));
  EXPECT_EQ(LastQuestion(),
            "{\"filterType\":\"file\",\"selectFileCount\":5,\"suffix\":\";*.pdf;*.txt\"}\n");

  // Every file refused: the list is null. A closed dialog: "[]" and "" answer -7 and 404.
  HostAnswers(uR"([{"fileName":"z","filePath":"/z","fileSize":0}])");
  EXPECT_THAT(Call("biz.chooseLocalFile", R"({"payload":{"max":5,"maxSize":9}})"),
              ElementsAre(Answer(4, 0, "null")));
  HostAnswers(u"[]");
  EXPECT_THAT(Call("biz.chooseLocalFile", R"({"payload":{"max":5,"types":[]}})"),
              ElementsAre(Answer(4, tnwebui::sdk::kBadSelection, "[]")));
  EXPECT_EQ(LastQuestion(), "{\"filterType\":\"file\",\"selectFileCount\":5}\n");  // no types
  HostAnswers(u"");
  EXPECT_THAT(Call("biz.chooseLocalFile", "{}"),
              ElementsAre(Answer(4, tnwebui::sdk::kResultNotJson, "[]")));
  EXPECT_EQ(LastQuestion(), "null\n");  // no payload

  // A host that answers twice: the chooser answers each, and ends once.
  answers = {{0, u"[]"}, {0, u"[]"}};
  EXPECT_THAT(Call("biz.chooseLocalFile", R"({"payload":{"max":5}})"),
              ElementsAre(Answer(4, tnwebui::sdk::kBadSelection, "[]"),
                          Answer(4, tnwebui::sdk::kBadSelection, "[]")));
  EXPECT_EQ(JsSdkFunction::Live(), live);
}

TEST_F(Choosers, ImagesComeWithTheirThumbnailsAsDataAddresses) {
  ScratchDir folder("tnwebui-choosers");
  const std::string thumb = folder.path() + "/a_thumb.png";
  std::ofstream(thumb, std::ios::binary) << std::string("\x89PNG\0x", 6);
  const std::string answer = R"([{"filePath":"/p/a.png","thumbnail":")" + thumb +
                             R"(","mimeType":"image/png","fileSize":6,"fileName":"a.png"},)"
                             R"({"filePath":"/p/b.png","thumbnail":"/nowhere.png"},)"
                             R"({"filePath":"/p/c.png"},{"thumbnail":"x"}])";
  HostAnswers(tnwebui::Utf8ToWide(answer));
  const auto scripts = Call("media.chooseImage", R"({"payload":{"count":4}})");
  EXPECT_EQ(LastQuestion(), R"({"selectFileCount":4,"filterType":"image"})");
  ASSERT_EQ(scripts.size(), 1u);
  EXPECT_EQ(
      scripts[0],
      Answer(
          5, 0,
          R"([{"base64":"data:image/png;base64,)" + tnbase::base64Encode("\x89PNG\0x", 6) +
              R"(","localId":"res://local//p/a.png","name":"a.png","path":"res://local//p/a.png",)"
              R"("size":6,"type":"image/png"},{"base64":"data:image/png;base64,",)"
              R"("localId":"res://local//p/b.png","path":"res://local//p/b.png"}])"));

  // More images than the count: a tip and no answer; and an answer that is no JSON reads
  // "tempFiles":}}. Neither ends the function.
  const int live = JsSdkFunction::Live();
  const std::size_t tips = win::TimedTipsShown().size();
  EXPECT_TRUE(Call("media.chooseImage", R"({"payload":{"count":1}})").empty());
  EXPECT_THAT(TipsFrom(tips), ElementsAre("Too many files chosen"));
  HostAnswers(u"oops");
  EXPECT_THAT(Call("media.chooseImage", "{}"),
              ElementsAre(Answer(5, tnwebui::sdk::kResultNotJson, "")));
  EXPECT_EQ(JsSdkFunction::Live(), live + 2);
}

TEST_F(Choosers, VideosAnswerOnePerFileWithinTheirLongestDuration) {
  constexpr int64_t kSecond = 10000000;
  HostAnswers(tnwebui::Utf8ToWide(
      R"([{"filePath":"/v/a.mp4","fileSize":9,"width":640,"height":360,"duration":)" +
      std::to_string(12 * kSecond) + R"(},{"filePath":"/v/long.mp4","duration":)" +
      std::to_string(301 * kSecond) +
      R"(},{"filePath":"/v/bad.mp4","duration":-1},)"
      R"({"filePath":"/v/huge.mp4","duration":)" +
      std::to_string(2147483648LL * kSecond) + R"(},{"filePath":"/v/b.mov"}])"));
  const std::size_t tips = win::TimedTipsShown().size();
  // 500 seconds asked: 300 at most.
  const auto scripts = Call("media.chooseVideo", R"({"payload":{"maxDuration":500}})");
  EXPECT_EQ(LastQuestion(), R"({"selectFileCount":1,"filterType":"video"})");
  EXPECT_THAT(
      scripts,
      ElementsAre(Answer(6, 0,
                         R"({"duration":12,"height":360,"localId":"res://local//v/a.mp4",)"
                         R"("path":"res://local//v/a.mp4","size":9,"type":".mp4","width":640})"),
                  Answer(6, 0,
                         R"({"duration":0,"localId":"res://local//v/b.mov",)"
                         R"("path":"res://local//v/b.mov","type":".mov"})")));
  EXPECT_THAT(TipsFrom(tips),
              ElementsAre("Videos can be at most 300 seconds long", "This video can't be used"));
  HostAnswers(u"");
  EXPECT_THAT(Call("media.chooseVideo", "{}"),
              ElementsAre(Answer(6, tnwebui::sdk::kResultNotJson, "")));
}

// A translation whose tip takes no value keeps its "%" signs as text; one that takes a file's
// name formats it.
TEST_F(Choosers, ATipWithoutAValueShowsItsTranslationAsItIs) {
  struct PercentTexts final : StringTableService {
    bool LoadString(const char* key, char* buffer, uint32_t size) override {
      if (std::strcmp(key, "IDS_STR_BUTTON_RESTORE") == 0) {
        std::snprintf(buffer, size, "%%s: over 100%%%%");
      } else {
        std::snprintf(buffer, size, "%s %%d%%s%%%%", key);
      }
      return true;
    }
  } texts;
  host.SetService(SID_StringTableService, static_cast<StringTableService*>(&texts));
  const std::size_t tips = win::TimedTipsShown().size();
  HostAnswers(u"[{},{}]");
  Call("media.chooseImage", R"({"payload":{"count":1}})");
  HostAnswers(u"[{\"filePath\":\"/v/bad.mp4\",\"duration\":-1}]");
  Call("media.chooseVideo", "{}");
  HostAnswers(u"[{\"fileName\":\"big.bin\",\"fileSize\":9}]");
  Call("biz.chooseLocalFile", R"({"payload":{"max":5,"maxSize":1}})");
  host.SetService(SID_StringTableService, static_cast<StringTableService*>(&host.strings));
  EXPECT_THAT(TipsFrom(tips),
              ElementsAre("IDS_STR_TIPS_FILEMAXCOUNT %d%s%%", "IDS_STR_TIPS_VIDEOINVALID %d%s%%",
                          "big.bin: over 100%"));
}

TEST_F(Choosers, ThePickersResultIsTheAnswerAndAnyEventEndsTheChooser) {
  const int live = JsSdkFunction::Live();
  EXPECT_TRUE(Call("biz.chooseContacts", R"({"payload":{"max":3}})").empty());
  ASSERT_EQ(channel.calls().size(), 1u);
  const auto params = channel.calls().back().params;
  EXPECT_EQ(params[0] + u"/" + params[1], u"common/choosecontacts");
  EXPECT_EQ(LastQuestion(), "{\"id\":\"app-7\",\"jssdk\":\"{\\\"max\\\":3}\"}\n");
  EXPECT_EQ(eventBus.receivers(), 2u);  // the view's and the chooser's
  // The picker's JSON goes to the page as it is, without an envelope.
  const std::size_t before = browser->scripts().size();
  eventBus.Deliver(7, "tn.onchooseresult", "json", R"({"users":[1]})", 13);
  tnbase::globalTaskQueue(0)->Flush();
  EXPECT_EQ(browser->scripts().size(), before + 1);
  EXPECT_EQ(browser->scripts().back(), Response(R"({"users":[1]})"));
  EXPECT_EQ(JsSdkFunction::Live(), live);
  EXPECT_EQ(eventBus.receivers(), 1u);

  // Departments ask for sectors alone; an event of another name ends them without an answer,
  // and so does the result without data.
  Call("biz.chooseDepartments", "{\"payload\":{}}");
  // After a call the SDK's id is what config left, and no config ran here.
  EXPECT_EQ(LastQuestion(), "{\"id\":\"\",\"jssdk\":\"{}\",\"onlySupportSector\":true}\n");
  eventBus.Deliver(7, "tn.other", "json", "{}", 2);
  Call("biz.chooseContacts", "{}");
  EXPECT_EQ(LastQuestion(), "");
  eventBus.Deliver(7, "tn.onchooseresult", "json", nullptr, 0);
  tnbase::globalTaskQueue(0)->Flush();
  EXPECT_EQ(browser->scripts().size(), before + 1);
  EXPECT_EQ(JsSdkFunction::Live(), live);
  // A host's negative count reads as no text: the answer is empty, nothing past the data read.
  Call("biz.chooseContacts", "{}");
  eventBus.Deliver(7, "tn.onchooseresult", "json", R"({"users":[2]})", -1);
  tnbase::globalTaskQueue(0)->Flush();
  EXPECT_EQ(browser->scripts().size(), before + 2);
  EXPECT_EQ(browser->scripts().back(), Response(""));
  // The departments' result is answered as it came, as the contacts' is.
  Call("biz.chooseDepartments", "{\"payload\":{}}");
  eventBus.Deliver(7, "tn.onchooseresult", "json", R"({"sectors":[3]})", 15);
  tnbase::globalTaskQueue(0)->Flush();
  EXPECT_EQ(browser->scripts().back(), Response(R"({"sectors":[3]})"));
  EXPECT_EQ(JsSdkFunction::Live(), live);
}

TEST_F(Choosers, WithoutHavsRunnerAContactChooserAsksNothingAndStays) {
  xhav::inproc::RefuseHavObjects(xhav::kHavObjectTaskRunner, true);
  const int live = JsSdkFunction::Live();
  EXPECT_TRUE(Call("biz.chooseContacts", R"({"payload":{}})").empty());
  xhav::inproc::RefuseHavObjects(xhav::kHavObjectTaskRunner, false);
  EXPECT_TRUE(channel.calls().empty());
  EXPECT_EQ(eventBus.receivers(), 1u);  // the view's only
  EXPECT_EQ(JsSdkFunction::Live(), live + 1);
}

TEST_F(Choosers, TheHostsDialogMakesRealThumbnailsThatThePageGets) {
  ScratchDir folder("tnwebui-pictures");
  std::vector<std::string> picked;
  for (const char* name : {"wide", "small"}) {
    QImage image(std::string(name) == "wide" ? QSize(800, 400) : QSize(50, 40),
                 QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    picked.push_back(folder.path() + "/" + name + ".png");
    ASSERT_TRUE(image.save(QString::fromStdString(picked.back()), "PNG"));
  }
  tnmainui::FileDialogHost dialog(folder.path());
  channel.SetScript([&](const tnmainui::ChannelCall& call) {
    std::vector<tnmainui::ChannelAnswer> answer;
    dialog.Answer(call, picked, &answer);
    return answer;
  });
  const auto scripts = Call("media.chooseImage", R"({"payload":{"count":2}})");
  ASSERT_EQ(scripts.size(), 1u);
  const std::string head = "\"tempFiles\":";
  const std::string text = scripts[0].substr(scripts[0].find(head) + head.size());
  Json::Value files;
  ASSERT_TRUE(tnwebui::ParseJson(text.substr(0, text.rfind("}}}')")), files));
  ASSERT_EQ(files.size(), 2u);
  // The wide picture's thumbnail is 200 by 100, the small one's its own size.
  const QSize sizes[] = {QSize(200, 100), QSize(50, 40)};
  for (Json::ArrayIndex i = 0; i < 2; ++i) {
    const std::string address = files[i]["base64"].asString();
    const std::string prefix = "data:image/png;base64,";
    ASSERT_EQ(address.compare(0, prefix.size(), prefix), 0);
    const QByteArray png =
        QByteArray::fromBase64(QByteArray::fromStdString(address.substr(prefix.size())));
    EXPECT_EQ(QImage::fromData(png, "PNG").size(), sizes[i]) << i;
    EXPECT_EQ(files[i]["type"].asString(), "image/png");
  }
}

}  // namespace
