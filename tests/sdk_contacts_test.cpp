// People, groups and sectors of a light app: open ids converted by the host, then a person's
// card, a group's chat, or the members of sectors from the business core.

#include <gmock/gmock.h>

#include "base/CommonFunc.h"
#include "corecontact.pb.h"
#include "coretnid.pb.h"
#include "sdk_fixture.h"
#include "tn/t/message.pb.h"
#include "tnmainui/contacts_host.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tnwebui::JsSdkFunction;

constexpr char kMembersLog[] = "JSGetSectorMembers::OnExecuteBusinessAction::<lambda>::operator ()";

class Contacts : public SdkFixture {
 protected:
  Contacts() : SdkFixture(u"contacts") {
    script = [this](const tnmainui::ChannelCall& call, std::vector<tnmainui::ChannelAnswer>* out) {
      return organisation.Answer(call, out);
    };
    service.SetScript([this](const tnmainui::GoCall& call) {
      tnmainui::GoAnswer answer;
      if (!coreAnswer.hasData || coreAnswer.code || !coreAnswer.data.empty()) return coreAnswer;
      organisation.AnswerCore(call, &answer);
      return answer;
    });
  }
  std::string Converted() const { return HostJson(u"ConvertOpenIdToImplId").back(); }

  tnmainui::ContactsHost organisation;
  tnmainui::GoAnswer coreAnswer;  // the core's answer when set; else the organisation's
};

TEST_F(Contacts, ACardOrAChatOpensWithTheConvertedId) {
  for (const char* name : {"biz.openContactsCard", "biz.opencontactscard"}) {
    EXPECT_THAT(Call(name, Payload(R"({"staffId":"ou_bob"})")), IsEmpty()) << name;
  }
  EXPECT_EQ(Converted(), R"({"idArray":[{"appIdImplId":"","idType":"staff","openId":"ou_bob"}]})"
                         "\n");
  EXPECT_THAT(HostJson(u"OpenPersonCard"),
              ElementsAre(R"({ "chatId":"staff-7-102"})", R"({ "chatId":"staff-7-102"})"));

  // Without an id the conversion is asked for an empty one.
  Call("biz.openContactsCard", Payload("{}"));
  EXPECT_EQ(Converted(), R"({"idArray":[{"appIdImplId":"","idType":"staff","openId":""}]})"
                         "\n");

  EXPECT_THAT(Call("biz.openGroupChat", Payload(R"({"groupId":"og_team"})")),
              ElementsAre(Template(11, 0, "ok")));
  EXPECT_THAT(HostJson(u"OpenDialog"), ElementsAre(R"({"chatId":"group-7-501","chatType":"group"})"
                                                   "\n"));

  // Several groups: the last chat id wins, and one without an id keeps the one before it.
  script = nullptr;
  hostAnswers = {{0, uR"([{"implChatId":"g1"},{"implChatId":"g2"},{"implChatId":5},7])"}};
  Call("biz.openGroupChat", Payload(R"({"groupId":"og_team"})"));
  EXPECT_EQ(HostJson(u"OpenDialog").back(), "{\"chatId\":\"g2\",\"chatType\":\"group\"}\n");
  // A host that names the action in another case answers the conversion all the same.
  tnmainui::ChannelAnswer lower{0, uR"([{"implChatId":"g3"}])"};
  lower.action = u"convertopenidtoimplid";
  hostAnswers = {lower};
  Call("biz.openContactsCard", Payload(R"({"staffId":"ou_bob"})"));
  EXPECT_EQ(HostJson(u"OpenPersonCard").back(), R"({ "chatId":"g3"})");

  // A conversion that isn't JSON: 404 in each one's own form.
  hostAnswers = {{0, u"<html>"}};
  EXPECT_THAT(Call("biz.openGroupChat", Payload(R"({"groupId":"og_team"})")),
              ElementsAre(Template(11, 404, "")));
  for (const char* name : {"biz.openContactsCard", "biz.opencontactscard"}) {
    EXPECT_THAT(Call(name, Payload(R"({"staffId":"ou_bob"})")),
                ElementsAre(Response(R"({"status":{"code":404,"message":""}})")))
        << name;
  }
}

TEST_F(Contacts, SectorMembersComeFromTheCoreAsOneFlatList) {
  const int live = JsSdkFunction::Live();
  EXPECT_THAT(
      Call("biz.getSectorMember",
           Payload(R"({"sectors":["os_sales", 3, "os_support", "os_none"]})")),
      ElementsAre(Response(
          Head(7, 0) +
          R"([{"avatar":"https://avatars.tavrin.test/ou_alice","name":"Alice","staffId":"ou_alice"},)"
          R"({"avatar":"https://avatars.tavrin.test/ou_bob","name":"Bob","staffId":"ou_bob"},)"
          R"({"avatar":"https://avatars.tavrin.test/ou_carol","name":"Carol","staffId":"ou_carol"}]})")));
  // The entry that is no text is asked for without an open id.
  EXPECT_EQ(Converted(), R"({"idArray":[{"appIdImplId":"","idType":"sector","openId":"os_sales"},)"
                         R"({"appIdImplId":"","idType":"sector"},)"
                         R"({"appIdImplId":"","idType":"sector","openId":"os_support"},)"
                         R"({"appIdImplId":"","idType":"sector","openId":"os_none"}]})"
                         "\n");
  const tnmainui::GoCall call = service.calls().back();
  EXPECT_EQ(call.operation, "OpenSectorMembers");
  interdata::CoreSectionIderList list;
  ASSERT_TRUE(list.ParseFromString(call.args[0]));
  ASSERT_EQ(list.iders_size(), 4);  // unknown and empty ids decode to zeros
  EXPECT_EQ(list.iders(0).sid(), 11);
  EXPECT_EQ(list.iders(2).sid(), 12);
  EXPECT_EQ(list.iders(1).oid() + list.iders(1).sid() + list.iders(3).sid(), 0);
  // No config yet: the application decodes from an empty id to zeros.
  interdata::CoreAppId app;
  ASSERT_TRUE(app.ParseFromString(call.args[1]));
  EXPECT_EQ(app.oid() + app.appid(), 0);
  EXPECT_EQ(call.args[2].size(), 36u);  // the task id
  EXPECT_EQ(JsSdkFunction::Live(), live);

  // An empty list still asks the core, and the answer is an empty array.
  EXPECT_THAT(Call("biz.getSectorMember", Payload(R"({"sectors":[]})")),
              ElementsAre(Response(Head(7, 0) + "[]}")));
  EXPECT_EQ(Converted(), "{\"idArray\":[]}\n");
}

TEST_F(Contacts, SectorMemberFailuresLeaveThePageWithoutAnAnswerAndEndTheFunction) {
  const int live = JsSdkFunction::Live();
  coreAnswer.hasData = false;
  coreAnswer.code = 5;
  coreAnswer.subCode = 77;
  EXPECT_THAT(Call("biz.getSectorMember", Payload(R"({"sectors":["os_sales"]})")), IsEmpty());
  EXPECT_EQ(log.Count("GetSectorMembers error, the go code = 5, subcode = 77", 4, kMembersLog), 1);

  coreAnswer = tnmainui::GoAnswer{};
  coreAnswer.data = "\xff\xff";
  EXPECT_THAT(Call("biz.getSectorMember", Payload(R"({"sectors":["os_sales"]})")), IsEmpty());
  EXPECT_EQ(
      log.Count("GetSectorMembers parse pb fail, the go code = 0, subcode = 0", 4, kMembersLog), 1);
  EXPECT_EQ(JsSdkFunction::Live(), live);  // each released once

  // No payload: the end, with no answer; a conversion that is no array: 404.
  EXPECT_THAT(Call("biz.getSectorMember", "[]"), IsEmpty());
  script = nullptr;
  hostAnswers = {{0, uR"({"implSectorId":"0807"})"}};
  EXPECT_THAT(Call("biz.getSectorMember", Payload(R"({"sectors":["os_sales"]})")),
              ElementsAre(Response(R"({"status":{"code":404,"message":""}})")));
  EXPECT_EQ(JsSdkFunction::Live(), live);
}

}  // namespace
