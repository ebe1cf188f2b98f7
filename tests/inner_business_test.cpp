// The title bar's buttons of article and link views, and the favourite and share actions.

#include "base/CommonFunc.h"
#include "base/json.h"
#include "light/web_title_child_window.h"
#include "view_fixture.h"

namespace {

Json::Value Parse(const std::u16string& text) {
  Json::Value v;
  tnwebui::ParseJson(tnwebui::WideToUtf8(text), v);
  return v;
}

}  // namespace

class InnerBusiness : public ViewFixture {
 protected:
  tnwebui::CWebTitleChildWindowWin* Title(const std::string& initData) {
    IBrowserView* view =
        Create(Settings(u"t" + std::u16string(1, u'a' + views_.size()), 4, initData));
    views_.push_back(view);
    return static_cast<tnwebui::CWebTitleChildWindowWin*>(Pb(view)->title_window());
  }
  // The request that ShareMessage sends to the core, and its "message" content parsed.
  Json::Value Share(const std::string& initData, Json::Value* content) {
    IBrowserView* view =
        Create(Settings(u"s" + std::u16string(1, u'a' + views_.size()), 0, initData));
    views_.push_back(view);
    const std::size_t before = core->calls().size();
    Pb(view)->ShareMessage();
    const auto calls = core->calls();
    if (calls.size() != before + 1) return Json::Value();
    EXPECT_EQ(calls.back().business, u"ExtendApp");
    EXPECT_EQ(calls.back().action, u"OpenForwardMsg");
    Json::Value request = Parse(calls.back().json);
    tnwebui::ParseJson(request["message"].asString(), *content);
    return request;
  }
  ~InnerBusiness() override {
    for (IBrowserView* v : views_) v->Release();
  }
  std::vector<IBrowserView*> views_;
};

TEST_F(InnerBusiness, TitleButtonsFollowTheMessageTheIdAndTheAddress) {
  auto* t = Title(R"({"message":{"msgId":5},"id":"msg-article-url"})");
  ASSERT_NE(t, nullptr);
  EXPECT_FALSE(t->hide_share_buttons());
  EXPECT_TRUE(t->show_link_buttons());
  t = Title(R"({"message":{"msgId":null},"id":""})");
  EXPECT_TRUE(t->hide_share_buttons());
  EXPECT_TRUE(t->show_link_buttons());
  t = Title(R"({"url":"https://x.test/?id=3","id":""})");
  EXPECT_FALSE(t->show_link_buttons());
  t = Title(R"({"id":"other"})");
  EXPECT_FALSE(t->show_link_buttons());  // the bar's default
  t = Title("null");
  EXPECT_FALSE(t->hide_share_buttons());
  EXPECT_FALSE(t->show_link_buttons());
  t = Title(R"({"message":[1],"id":7})");
  EXPECT_TRUE(t->hide_share_buttons());
}

TEST_F(InnerBusiness, AFavouriteCarriesTheChatAndTheMessage) {
  IBrowserView* view = Create(Settings(u"f", 0, R"({"message":{"chatId":"c1","msgId":9}})"));
  views_.push_back(view);
  Pb(view)->CreateFavorite();
  ASSERT_EQ(core->calls().size(), 1u);
  EXPECT_EQ(core->calls()[0].business, u"MyFavorite");
  EXPECT_EQ(core->calls()[0].json, u"[{\"chatId\":\"c1\",\"msgId\":9}]\n");
  EXPECT_EQ(core->calls()[0].param, u"0");
  IBrowserView* bare = Create(Settings(u"g", 0, R"({"message":{"chatId":3}})"));
  views_.push_back(bare);
  Pb(bare)->CreateFavorite();
  EXPECT_EQ(core->calls()[1].json, u"[]\n");
  IBrowserView* empty = Create(Settings(u"h", 0, ""));
  views_.push_back(empty);
  Pb(empty)->CreateFavorite();
  Pb(empty)->ShareMessage();
  EXPECT_EQ(core->calls().size(), 2u);
}

TEST_F(InnerBusiness, SharingAPositionOrALinkCardTakesTheDatasAddress) {
  Json::Value content;
  Json::Value request =
      Share(R"({"url":"https://page.test/","message":{"chatId":"c1","msgType":"geoPosition",)"
            R"("geoPosition":{"address":"A st","latitude":1.5,"name":"N","extra":1}}})",
            &content);
  EXPECT_EQ(request["chatId"].asString(), "c1");
  EXPECT_FALSE(request["isMerge"].asBool());
  EXPECT_EQ(request["fromCode"].asString(), "show_weburl");
  EXPECT_EQ(content["msgType"].asString(), "geoPosition");
  EXPECT_EQ(content["geoPosition"]["url"].asString(), "https://page.test/");
  EXPECT_EQ(content["geoPosition"]["address"].asString(), "A st");
  EXPECT_FALSE(content["geoPosition"].isMember("extra"));
  EXPECT_EQ(content["msgContent"].asString(), "");

  Share(R"({"url":"https://page.test/","message":{"chatId":"c1","msgType":"linkCard",)"
        R"("linkCard":{"url":"https://card.test/","title":"T"}}})",
        &content);
  EXPECT_EQ(content["linkCard"]["url"].asString(), "https://page.test/");
  EXPECT_EQ(content["linkCard"]["title"].asString(), "T");
}

TEST_F(InnerBusiness, AnArticleBecomesACardWithItsSender) {
  core->SetChatInfo("c1", R"({"chatName":"Team","avatarId":"pic-team"})");
  Json::Value content;
  Share(R"({"url":"https://a.test/","message":{"chatId":"c1","msgType":"article",)"
        R"("msgArticle":[{"articleId":"a1","title":"Hello","mediaId":"m1"}],"name":"Ann"}})",
        &content);
  EXPECT_EQ(content["msgType"].asString(), "linkCard");
  const Json::Value& card = content["linkCard"];
  EXPECT_EQ(card["articleId"].asString(), "a1");
  EXPECT_EQ(card["pictureId"].asString(), "m1");
  EXPECT_EQ(card["url"].asString(), "https://a.test/");
  EXPECT_EQ(card["from"]["name"].asString(), "Team");
  EXPECT_EQ(card["from"]["avatarId"].asString(), "pic-team");
  EXPECT_EQ(card["from"]["iconLink"].asString(), "");

  // Two articles: only the sender; an unknown chat: the message's own sender.
  Share(R"({"message":{"chatId":"c2","msgType":"article","msgArticle":[{},{}],)"
        R"("avatarId":"pic-ann","name":"Ann"}})",
        &content);
  EXPECT_EQ(content["linkCard"].getMemberNames(), std::vector<std::string>{"from"});
  EXPECT_EQ(content["linkCard"]["from"]["name"].asString(), "Ann");
  EXPECT_EQ(content["linkCard"]["from"]["avatarId"].asString(), "pic-ann");
}

TEST_F(InnerBusiness, AnUnusableMessageStillSendsTheRequest) {
  Json::Value content;
  Json::Value request = Share(R"({"message":{"msgType":5}})", &content);
  EXPECT_TRUE(request.isMember("chatId"));
  EXPECT_TRUE(request["chatId"].isNull());
  EXPECT_EQ(request["message"].asString(), "null\n");
}
