#include "sdk_declarations.h"

#include <algorithm>
#include <cctype>

namespace run {
namespace {

// Shorthands for the table.
SdkField Opt(const char* name, const char* type) { return {name, type, false}; }
SdkField Req(const char* name, const char* type) { return {name, type, true}; }

SdkName Fields(const char* name, std::vector<SdkField> fields,
               Answered answered = Answered::kAlways) {
  return {name, std::move(fields), false, answered};
}

bool HasType(const Json::Value& value, const std::string& type) {
  if (type == "string") return value.isString();
  if (type == "number") return value.isNumeric() && !value.isBool();
  if (type == "boolean") return value.isBool();
  if (type == "array") return value.isArray();
  if (type == "string|number") return value.isString() || (value.isNumeric() && !value.isBool());
  if (type == "string[]") {
    if (!value.isArray()) return false;
    for (const Json::Value& item : value) {
      if (!item.isString()) return false;
    }
    return true;
  }
  return true;
}

// What a JSON value is, in the declarations' words.
std::string TypeOf(const Json::Value& value) {
  switch (value.type()) {
    case Json::nullValue:
      return "null";
    case Json::booleanValue:
      return "a boolean";
    case Json::stringValue:
      return "a string";
    case Json::arrayValue:
      return "an array";
    case Json::objectValue:
      return "an object";
    default:
      return "a number";
  }
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// The edit distance of two short names.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min(
          {row[j] + 1, row[j - 1] + 1, diagonal + (Lower(a[i - 1]) == Lower(b[j - 1]) ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// The declared field whose name is a slip of the pen away from `name`, if one is.
const SdkField* Nearest(const std::vector<SdkField>& fields, const std::string& name) {
  const SdkField* nearest = nullptr;
  std::size_t best = 3;  // at most two letters apart
  for (const SdkField& field : fields) {
    const std::size_t d = Distance(name, field.name);
    if (d < best) {
      best = d;
      nearest = &field;
    }
  }
  return nearest;
}

}  // namespace

const std::vector<SdkName>& SdkNames() {
  static const std::vector<SdkName> names = [] {
    const std::vector<SdkField> voice = {Req("localId", "string")};
    const std::vector<SdkField> card = {Opt("staffId", "string")};
    std::vector<SdkName> all = {
        Fields("config", {Opt("appId", "string"), Opt("nonceStr", "string"),
                          Opt("signature", "string"), Opt("timestamp", "number")}),
        Fields("biz.getAuthCode", {Opt("appId", "string")}),
        Fields("ui.setNavigationBarMenu", {Opt("items", "array")}),
        Fields("ui.closeWindow", {}),
        Fields("ui.onHistoryBack", {}, Answered::kNever),
        Fields("internal.biz.getVisitorToken", {}),
        Fields("media.chooseImage", {Opt("count", "number")}),
        {"biz.chooseContacts", {}, true, Answered::kAlways},
        Fields("media.previewImage", {Opt("urls", "string[]"), Opt("current", "string")}),
        Fields("biz.opencontactscard", card, Answered::kSometimes),
        Fields("media.chooseVideo", {Opt("sourceType", "string[]"), Opt("compressed", "boolean"),
                                     Opt("maxDuration", "number")}),
        Fields("media.previewVideo", {Opt("url", "string")}),
        Fields("utils.uploadFile", {Req("url", "string")}),
        Fields("utils.uploadFileToS3",
               {Req("localId", "string"), Req("endpoint", "string"), Req("accessKey", "string"),
                Req("secretKey", "string"), Opt("sessionToken", "string"), Req("region", "string"),
                Req("bucket", "string"), Req("object", "string")}),
        Fields("utils.downloadFile", {Req("url", "string")}),
        Fields("utils.saveFile", {Req("url", "string"), Opt("target", "string[]")}),
        Fields("media.playVoice", voice),
        Fields("media.pauseVoice", voice),
        Fields("media.stopVoice", voice),
        Fields("media.onVoicePlay", voice),
        Fields("media.onVoicePlayEnd", {}, Answered::kNever),
        Fields("utils.onUploadProgress", {}, Answered::kNever),
        Fields("utils.onDownloadProgress", {}, Answered::kNever),
        Fields("utils.share", {Req("title", "string"), Req("content", "string"),
                               Opt("image", "string"), Req("url", "string")}),
        Fields(
            "device.displayLocation",
            {Opt("coordinateType", "string"), Opt("latitude", "string|number"),
             Opt("longitude", "string|number"), Opt("name", "string"), Opt("address", "string")}),
        Fields("biz.openGroupChat", {Opt("groupId", "string")}),
        Fields("biz.openContactsCard", card, Answered::kSometimes),
        Fields("biz.chooseLocalFile", {Opt("max", "number"), Opt("maxSize", "number"),
                                       Opt("maxTip", "string"), Opt("types", "string[]")}),
        Fields("biz.getSectorMember", {Opt("sectors", "string[]")}),
        {"biz.chooseDepartments", {}, true, Answered::kAlways},
    };
    return all;
  }();
  return names;
}

const SdkName* FindSdkName(const std::string& name) {
  for (const SdkName& declared : SdkNames()) {
    if (name == declared.name) return &declared;
  }
  return nullptr;
}

std::vector<std::string> RefusedPayload(const SdkName& declared, const Json::Value& data) {
  std::vector<std::string> refused;
  if (!data.isNull() && !data.isObject()) return {"data is " + TypeOf(data) + ", not an object"};
  const Json::Value& payload = data.isObject() ? data["payload"] : Json::Value::nullSingleton();
  if (!payload.isNull() && !payload.isObject()) {
    return {"data.payload is " + TypeOf(payload) + ", not an object"};
  }
  // Fields beside `payload` rather than in it: the client reads only data.payload.
  if (payload.isNull() && data.isObject()) {
    std::string beside;
    for (const std::string& name : data.getMemberNames()) {
      if (name != "meta") beside += (beside.empty() ? "" : ", ") + name;
    }
    if (!beside.empty())
      refused.push_back("data has " + beside +
                        " but no payload: the client reads only data.payload");
  }
  if (declared.anyObject) return refused;
  // The file chooser refuses every file above maxSize, which counts from 0.
  if (std::string(declared.name) == "biz.chooseLocalFile" &&
      !(payload.isObject() && payload["maxSize"].isNumeric()))
    refused.push_back("without data.payload.maxSize every file is refused (it is 0 unless given)");
  for (const std::string& name :
       payload.isObject() ? payload.getMemberNames() : std::vector<std::string>()) {
    const SdkField* known = nullptr;
    for (const SdkField& field : declared.fields) {
      if (name == field.name) known = &field;
    }
    if (known) continue;
    std::string text = "data.payload." + name + " is no field of " + declared.name;
    const SdkField* near = Nearest(declared.fields, name);
    text += near ? std::string(" (did you mean ") + near->name + "?)" : " (the client ignores it)";
    refused.push_back(text);
  }
  for (const SdkField& field : declared.fields) {
    const bool present = payload.isObject() && payload.isMember(field.name);
    if (!present) {
      if (field.required)
        refused.push_back(std::string("data.payload.") + field.name + " is missing (a " +
                          field.type + ")");
      continue;
    }
    const Json::Value& value = payload[field.name];
    if (!HasType(value, field.type)) {
      refused.push_back(std::string("data.payload.") + field.name + " is " + TypeOf(value) +
                        ", not " + (field.type[0] == 'a' ? "an " : "a ") + field.type);
    }
  }
  return refused;
}

}  // namespace run
