#include "tnmainui/contacts_host.h"

#include <QByteArray>

#include "host_json.h"
#include "reflection.h"

namespace tnmainui {
namespace {

struct Person {
  const char* openId;
  int32_t uid;
  int32_t sector;
  const char* name;
};
struct Sector {
  const char* openId;
  int32_t sid;
};

constexpr Sector kSectors[] = {{"os_sales", 11}, {"os_support", 12}};
constexpr Person kPeople[] = {
    {"ou_alice", 101, 11, "Alice"}, {"ou_bob", 102, 11, "Bob"}, {"ou_carol", 103, 12, "Carol"}};
constexpr const char* kGroup = "og_team";
constexpr int32_t kGroupId = 501;

std::string SectorHex(int32_t sid) {
  std::unique_ptr<Message> sector = New("tn.t.SectorId");
  if (!sector) return std::string();
  SetNumber(sector.get(), "oid", ContactsHost::kOrganisation);
  SetNumber(sector.get(), "sector_id", sid);
  return QByteArray::fromStdString(sector->SerializeAsString()).toHex().toStdString();
}

}  // namespace

std::string ContactsHost::ChatIdOf(const std::string& openId) {
  for (const Person& person : kPeople) {
    if (openId == person.openId) {
      return "staff-" + std::to_string(kOrganisation) + "-" + std::to_string(person.uid);
    }
  }
  if (openId == kGroup)
    return "group-" + std::to_string(kOrganisation) + "-" + std::to_string(kGroupId);
  return std::string();
}

bool ContactsHost::Answer(const ChannelCall& call, std::vector<ChannelAnswer>* answers) const {
  if (call.params.size() < 4 || call.params[1] != u"ConvertOpenIdToImplId") return false;
  Json::Value request;
  Json::Value converted(Json::arrayValue);
  if (Parse(CallJson(call), request) && request.isObject() && request["idArray"].isArray()) {
    for (const Json::Value& id : request["idArray"]) {
      const std::string openId = Text(id, "openId");
      const std::string type = Text(id, "idType");
      Json::Value element(Json::objectValue);
      if (type == "sector") {
        for (const Sector& sector : kSectors) {
          if (openId == sector.openId) element["implSectorId"] = SectorHex(sector.sid);
        }
      } else if ((type == "staff" || type == "group") && !ChatIdOf(openId).empty()) {
        element["implChatId"] = ChatIdOf(openId);
      }
      converted.append(element);
    }
  }
  *answers = {ChannelAnswer{0, Widen(Write(converted))}};
  return true;
}

bool ContactsHost::AnswerCore(const GoCall& call, GoAnswer* answer) const {
  if (call.operation != "OpenSectorMembers") return false;
  std::unique_ptr<Message> list = New("interdata.CoreSectionIderList");
  std::unique_ptr<Message> members = New("interdata.CoreOpenSectionMembersList");
  *answer = GoAnswer{};
  if (!list || !members || call.args.empty() || !list->ParseFromString(call.args[0])) {
    answer->hasData = false;
    answer->code = 400;
    answer->message = "the sector list does not parse";
    return true;
  }
  for (int i = 0; i < Count(*list, "iders"); ++i) {
    const Message& ider = At(*list, "iders", i);
    if (Number(ider, "oid") != kOrganisation) continue;
    const int32_t sid = Number(ider, "sid");
    Message* sector = nullptr;
    for (const Person& person : kPeople) {
      if (person.sector != sid) continue;
      if (!sector) {
        sector = Add(members.get(), "array");
        Message* id = MutableSub(sector, "sId");
        SetNumber(id, "oid", kOrganisation);
        SetNumber(id, "sid", sid);
      }
      Message* member = Add(sector, "members");
      SetNumber(MutableSub(member, "uid"), "oid", kOrganisation);
      SetNumber(MutableSub(member, "uid"), "uid", person.uid);
      SetText(member, "openUid", person.openId);
      SetText(member, "name", person.name);
      SetText(member, "avatarUrl", std::string("https://avatars.tavrin.test/") + person.openId);
    }
  }
  answer->data = members->SerializeAsString();
  return true;
}

}  // namespace tnmainui
