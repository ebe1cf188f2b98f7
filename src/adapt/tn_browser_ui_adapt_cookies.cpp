// Cookies of a view: from the initial data, and set or deleted on a page's request, in the
// cookie space of the view's account.

#include "adapt/tn_browser_ui_adapt.h"
#include "base/json.h"
#include "base/tn_log.h"

namespace tnwebui {

namespace {

constexpr char kLogSource[] = "..\\..\\src\\adapt\\tn_browser_ui_adapt";

tnbase::TnStringPtr Text(const std::string& utf8) { return tnbase::TnStringPtr::FromUTF8(utf8); }

// The cookie address of `url`: scheme, "://" and host, or empty when it has none.
std::string CookieAddress(const std::string& url) {
  std::string scheme, host;
  if (!TnBrowserAdaptUI::SplitUrl(url, &scheme, &host)) return std::string();
  return scheme + "://" + host;
}

}  // namespace

bool TnBrowserAdaptUI::SplitUrl(const std::string& url, std::string* scheme, std::string* host) {
  const auto mark = url.find("://");
  if (mark == std::string::npos || mark == 0) return false;
  *scheme = url.substr(0, mark);
  const std::string rest = url.substr(mark + 3);
  const auto slash = rest.find('/');
  *host = slash != std::string::npos && slash > 0 ? rest.substr(0, slash) : rest;
  const auto colon = host->find(':');
  if (colon != std::string::npos && colon > 0) host->resize(colon);
  return !scheme->empty() && !host->empty();
}

void TnBrowserAdaptUI::SetInitialCookies() {
  if (initData_.empty()) return;
  Json::Value data;
  if (!ParseJson(initData_, data) || !HasJsonString(data, "cookie") ||
      !HasJsonString(data, "url")) {
    return;
  }
  // "cookie" is a text that holds a JSON array of header objects.
  ApplySetCookieHeaders(data["url"].asString(), data["cookie"].asString(),
                        CookieSpaceOf(businessCore_));
}

void TnBrowserAdaptUI::ApplySetCookieHeaders(const std::string& url, const std::string& text,
                                             const std::string& space) {
  const std::string address = CookieAddress(url);
  xhav::Browser* b = browser();
  Json::Value headers;
  if (address.empty() || !b || !ParseJson(text, headers) || headers.isNull()) return;
  if (!headers.isArray() && !headers.isObject()) return;
  for (const Json::Value& element : headers) {
    if (!HasJsonString(element, "Set-Cookie")) continue;
    const std::string header = element["Set-Cookie"].asString();
    const auto eq = header.find('=');
    if (eq == std::string::npos || eq == 0) continue;
    const std::string name = header.substr(0, eq);
    // Attributes behind the first ";" are dropped: a session cookie of name and value.
    const auto semi = header.find(';', eq + 1);
    const std::string value = semi != std::string::npos && semi > eq + 1
                                  ? header.substr(eq + 1, semi - eq - 1)
                                  : header.substr(eq + 1);
    if (name.empty() || value.empty()) continue;
    b->SetCookie(Text(address).get(), Text(name).get(), Text(value).get(), Text(space).get());
  }
}

void TnBrowserAdaptUI::SetCookies(const std::string& json, const std::string& space) {
  Json::Value request;
  if (json.empty() || !ParseJson(json, request) || request.isNull()) return;
  std::string scheme, host;
  if (!SplitUrl(JsonString(request, "url"), &scheme, &host)) return;
  const std::string address = scheme + "://" + host;
  if (!request.isObject() || !request["cookie"].isObject()) {
    TN_LOG(4, "TnBrowserAdaptUI::SetCookies", "setcookie cookies fail");
    return;
  }
  xhav::Browser* b = browser();
  if (!b) return;
  const Json::Value& cookies = request["cookie"];
  for (const std::string& name : cookies.getMemberNames()) {
    const std::string value = JsonToString(cookies[name]);
    if (name.empty() || value.empty()) continue;
    b->SetCookie(Text(address).get(), Text(name).get(), Text(value).get(), Text(space).get());
  }
}

void TnBrowserAdaptUI::DeleteCookies(TnString* business, TnString* action,
                                     const std::string& callbackId, const std::string& json,
                                     const std::string& space) {
  Json::Value request;
  if (json.empty() || !ParseJson(json, request) || request.isNull()) return;
  // An address that doesn't split leaves the address empty; the work goes on.
  const std::string address = CookieAddress(JsonString(request, "url"));
  xhav::Browser* b = browser();
  if (b && request.isObject() && request["cookie"].isArray()) {
    for (const Json::Value& element : request["cookie"]) {
      const std::string name = JsonToString(element);
      if (!name.empty()) b->DeleteCookie(Text(address).get(), Text(name).get(), Text(space).get());
    }
  }
  // The page is answered whether or not anything was removed.
  CefRefPtr<CefListValue> result = CefListValue::Create();
  result->SetString(0, callbackId);
  result->SetInt(1, 0);
  result->SetString(2, std::string());
  ExeBusinessActionCallback(business, action, result);
}

bool TnBrowserAdaptUI::BeforeReload(const std::u16string&) {
  if (std::u16string(GetName()).rfind(u"TnShowWebUrl", 0) != 0) return false;
  // The flag stands where the address was meant to go; the deletion doesn't use it.
  Json::Value request;
  request["url"] = true;
  ExecuteOwnAction("Common", "DeleteCookie", "0", WriteJson(request), "0");
  return true;
}

}  // namespace tnwebui
