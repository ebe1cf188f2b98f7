// The title bar's buttons of a view that shows an article or a shared link: which buttons it
// has, and the favourite and share actions on the message the page was opened for.

#include "adapt/tn_browser_ui_adapt.h"
#include "base/json.h"

namespace tnwebui {

void TnBrowserAdaptUI::ConfigureTitleButtons() {
  if (!titleWindow_) return;
  // The settings' data as it was given, not the view's copy.
  const char* given = settings_ ? settings_->GetInitData() : nullptr;
  Json::Value data;
  if (ParseJson(given ? given : "", data) && data.isNull()) {
    titleWindow_->SetHideShareButtons(false);
    titleWindow_->SetShowLinkButtons(false);
    return;
  }
  const bool object = data.isObject();
  const bool hasMessage = object && data.isMember("message") && data["message"].isObject() &&
                          data["message"].isMember("msgId") && !data["message"]["msgId"].isNull();
  titleWindow_->SetHideShareButtons(!hasMessage);
  if (JsonString(data, "url").find("id=") != std::string::npos) {
    titleWindow_->SetShowLinkButtons(false);
    return;
  }
  if (HasJsonString(data, "id")) {
    const std::string id = data["id"].asString();
    if (id == "msg-article-url" || id.empty()) titleWindow_->SetShowLinkButtons(true);
  }
}

void TnBrowserAdaptUI::CreateFavorite() {
  if (initData_.empty()) return;
  Json::Value root;
  ParseJson(initData_, root);
  Json::Value favourites(Json::arrayValue);
  if (root.isObject() && root["message"].isObject() && HasJsonString(root["message"], "chatId")) {
    const Json::Value& message = root["message"];
    Json::Value entry;
    entry["chatId"] = message["chatId"];
    entry["msgId"] = message["msgId"];
    favourites.append(entry);
  }
  ExecuteOwnAction("MyFavorite", "CreateFavorite", "0", WriteJson(favourites), "");
}

void TnBrowserAdaptUI::ShareMessage() {
  if (initData_.empty()) return;
  Json::Value root;
  ParseJson(initData_, root);
  const Json::Value url = root.isObject() ? root["url"] : Json::Value();
  const bool usable =
      root.isObject() && root["message"].isObject() && HasJsonString(root["message"], "msgType");
  const Json::Value message = usable ? root["message"] : Json::Value();

  Json::Value content;  // stays null when the message isn't usable
  if (usable) {
    const std::string type = message["msgType"].asString();
    if (type == "geoPosition") {
      content["msgType"] = "geoPosition";
      if (message["geoPosition"].isObject()) {
        const Json::Value& from = message["geoPosition"];
        Json::Value geo(Json::objectValue);
        for (const char* key : {"address", "latitude", "link", "longitude", "name", "pictureId"}) {
          geo[key] = from[key];
        }
        geo["url"] = url;
        content["geoPosition"] = geo;
      }
    } else if (type == "linkCard") {
      content["msgType"] = "linkCard";
      if (message["linkCard"].isObject()) {
        Json::Value card = message["linkCard"];
        card["url"] = url;  // the data's address wins over the card's
        content["linkCard"] = card;
      }
    } else {
      content["msgType"] = "linkCard";
      Json::Value card(Json::objectValue);
      const Json::Value& articles = message["msgArticle"];
      if (articles.isArray() && articles.size() == 1 && articles[0].isObject()) {
        const Json::Value& article = articles[0];
        card["articleId"] = article["articleId"];
        card["title"] = article["title"];
        card["pictureId"] = article["mediaId"];
        card["url"] = url;
      }
      // The sender: the chat's name and picture from the core, else the message's own.
      std::string name, picture;
      const std::string chatId = JsonString(message, "chatId");
      if (!chatId.empty() && businessCore_) {
        tnbase::TnStringPtr chat(businessCore_->GetChatInfo(chatId.c_str()));
        Json::Value info;
        if (chat && ParseJson(chat->ToUTF8(), info) && info.isObject()) {
          name = JsonString(info, "chatName");
          picture = JsonString(info, "avatarId");
        }
      }
      if (picture.empty()) picture = JsonString(message, "avatarId");
      if (name.empty()) name = JsonString(message, "name");
      Json::Value from;
      from["avatarId"] = picture;
      from["iconLink"] = "";
      from["name"] = name;
      card["from"] = from;
      content["linkCard"] = card;
    }
    content["chatId"] = message["chatId"];
    content["msgContent"] = "";
  }

  Json::Value request;
  request["chatId"] = usable ? message["chatId"] : Json::Value();
  request["isMerge"] = false;
  request["message"] = WriteJson(content);
  request["fromCode"] = "show_weburl";
  ExecuteOwnAction("ExtendApp", "OpenForwardMsg", "0", WriteJson(request), "0");
}

}  // namespace tnwebui
