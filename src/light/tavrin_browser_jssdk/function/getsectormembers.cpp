#include "light/tavrin_browser_jssdk/function/getsectormembers.h"

#include <string_view>

#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/tn_log.h"
#include "corecontact.pb.h"
#include "coretnid.pb.h"
#include "light/tavrin_browser_jssdk/function/go_adapters.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "tn/t/message.pb.h"
#include "tnwebui/services.h"

namespace tnwebui {
namespace {

constexpr char kLogSource[] =
    "..\\..\\src\\light\\tavrin_browser_jssdk\\function\\getsectormembers";
constexpr char kMembersAnswer[] =
    "JSGetSectorMembers::OnExecuteBusinessAction::<lambda>::operator ()";
constexpr int kNotFound = 12;   // the conversion's result is no JSON
constexpr int kGroupChat = 11;  // a code and a message
constexpr int kMembers = 7;     // the member array as the data

// The first text of `key` among the objects of `root`: for a person's card, whose answer names
// one person.
std::string FirstObjectsText(const Json::Value& root, const char* key) {
  if (!root.isArray()) return std::string();
  for (const Json::Value& element : root) {
    if (element.isObject()) return JsonString(element, key);
  }
  return std::string();
}

// The open id `key` of the payload when it is a string, else an empty id.
Json::Value OpenIdOf(const Json::Value& params, const char* key) {
  const Json::Value* payload = JsSdkFunction::PayloadOf(params);
  Json::Value ids(Json::arrayValue);
  ids.append(payload ? JsonString(*payload, key) : std::string());
  return ids;
}

}  // namespace

// ---- the conversion

bool JsSdkOpenIdFunction::Convert(const char* idType, const Json::Value& openIds) {
  xhav::BusinessChannel* channel = HostChannel();
  if (!channel) return false;
  Json::Value request;
  Json::Value& idArray = request["idArray"] = Json::Value(Json::arrayValue);
  for (const Json::Value& openId : openIds) {
    Json::Value element;
    if (!openId.isNull()) element["openId"] = openId;
    element["idType"] = idType;
    element["appIdImplId"] = appIdImplId;
    idArray.append(std::move(element));
  }
  ExecuteBusiness(channel, u"Common", u"ConvertOpenIdToImplId", WriteJson(request), this);
  return true;
}

bool JsSdkOpenIdFunction::IsConversion(const char16_t* action) {
  return action && SameIgnoringCase(action, u"ConvertOpenIdToImplId");
}

// ---- biz.openContactsCard

void JSOpenContactsCard::Execute(const std::string&, const Json::Value& params) {
  if (!Convert("staff", OpenIdOf(params, "staffId"))) Keep();
}

void JSOpenContactsCard::OnBusinessResult(const char16_t*, const char16_t* action, const char16_t*,
                                          int32_t, const char16_t* result) {
  if (!IsConversion(action)) return;
  Json::Value root;
  if (!ParseHostResult(result, root)) return SendResponse(sdk::kEnvelopes[kNotFound].head);
  std::string json;
  FormatText(json, R"({ "chatId":"%s"})", FirstObjectsText(root, "implChatId").c_str());
  ExecuteBusiness(HostChannel(), u"Common", u"OpenPersonCard", json, nullptr);
}

// ---- biz.openGroupChat

void JSOpenGroupChat::Execute(const std::string&, const Json::Value& params) {
  if (!Convert("group", OpenIdOf(params, "groupId"))) Keep();
}

void JSOpenGroupChat::OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                                       const char16_t* result) {
  std::string answer;
  Json::Value root;
  if (!ParseHostResult(result, root)) {
    FormatText(answer, sdk::kEnvelopes[kGroupChat].head, sdk::kResultNotJson, "");
    return SendResponse(answer);
  }
  // Of several groups the last one's chat opens; a group without a chat id keeps the id of the
  // one before it.
  Json::Value chat;
  if (root.isArray()) {
    for (const Json::Value& element : root) {
      if (!element.isObject()) continue;
      if (element["implChatId"].isString()) chat["chatId"] = element["implChatId"];
      chat["chatType"] = "group";
    }
  }
  ExecuteBusiness(HostChannel(), u"Notice", u"OpenDialog", WriteJson(chat), nullptr);
  FormatText(answer, sdk::kEnvelopes[kGroupChat].head, sdk::kOk, "ok");
  SendResponse(answer);
}

// ---- biz.getSectorMember

void JSGetSectorMembers::Execute(const std::string&, const Json::Value& params) {
  const Json::Value* payload = PayloadOf(params);
  if (!payload) return DeleteLater();
  Json::Value openIds(Json::arrayValue);
  const Json::Value& sectors = (*payload)["sectors"];
  if (!sectors.empty() && sectors.isArray()) {
    for (const Json::Value& sector : sectors) {
      openIds.append(sector.isString() ? sector : Json::Value());
    }
  }
  if (!Convert("sector", openIds)) Keep();
}

void JSGetSectorMembers::OnBusinessResult(const char16_t*, const char16_t* action, const char16_t*,
                                          int32_t, const char16_t* result) {
  if (!IsConversion(action)) return;
  Json::Value root;
  if (!ParseHostResult(result, root) || !root.isArray()) {
    SendResponse(sdk::kEnvelopes[kNotFound].head);
    return DeleteLater();
  }
  interdata::CoreSectionIderList sectors;
  for (const Json::Value& element : root) {
    if (!element.isObject()) continue;
    tn::t::SectorId sector;
    sector.ParseFromString(HexToBytes(JsonString(element, "implSectorId")));
    interdata::CoreSectionIder* ider = sectors.add_iders();
    ider->set_oid(sector.oid());
    ider->set_sid(sector.sector_id());
  }
  // No config yet: an empty identity reads as organisation 0, application 0.
  tn::t::AppId appId;
  appId.ParseFromString(HexToBytes(appIdImplId));
  interdata::CoreAppId application;
  application.set_oid(appId.oid());
  application.set_appid(appId.app_id());

  auto* service = QueryService<BusinessCoreService>(SID_BusinessCoreService);
  tnbusiness::ContactObject* contact = service ? service->GetContactObject() : nullptr;
  if (!contact) return;  // nobody to ask: the host's last Release ends the function
  const std::string list = sectors.SerializeAsString();
  const std::string app = application.SerializeAsString();
  const std::string task = createUuid();
  GDataImpl listData(list.data(), static_cast<int32_t>(list.size()));
  GDataImpl appData(app.data(), static_cast<int32_t>(app.size()));
  GStringImpl taskId(task.data(), static_cast<int32_t>(task.size()));
  AddRef();  // the core's answer holds the function
  contact->OpenSectorMembers(
      orgId, &listData, &appData, 1, &taskId,
      new ResponserImpl([this](IGData* data, Tnerror::Error* error) { OnMembers(data, error); }));
}

void JSGetSectorMembers::OnMembers(IGData* data, Tnerror::Error* error) {
  const int32_t code = error ? error->Code() : 0;
  const int32_t subCode = error ? error->SubCode() : 0;
  interdata::CoreOpenSectionMembersList answer;
  if (GoErrorValue(error) != 0) {
    TN_LOG(4, kMembersAnswer, "GetSectorMembers error, the go code = %d, subcode = %d", code,
           subCode);
  } else if (!data || !answer.ParseFromArray(data->Data(), data->Size())) {
    TN_LOG(4, kMembersAnswer, "GetSectorMembers parse pb fail, the go code = %d, subcode = %d",
           code, subCode);
  } else {
    Json::Value members(Json::arrayValue);
    for (const interdata::CoreOpenSectionMembers& sector : answer.array()) {
      for (const interdata::CoreOpenSectionMember& member : sector.members()) {
        Json::Value person;
        person["name"] = member.name();
        person["staffId"] = member.openuid();
        person["avatar"] = member.avatarurl();
        members.append(std::move(person));
      }
    }
    SendWithJson(kMembers, sdk::kOk, WriteJson(members));
  }
  Release();
}

}  // namespace tnwebui
