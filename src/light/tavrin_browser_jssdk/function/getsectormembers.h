#pragma once

// People, groups and sectors of a light app: the page knows them by open ids, private to the
// app, which the host converts into the client's own ids ("ConvertOpenIdToImplId") before the
// function acts on them: a person's card, a group's chat, a sector's members.

#include <cstdint>
#include <string>

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnwebui/business_service.h"

namespace tnwebui {

// The frame of the three: the conversion request of one kind of id.
class JsSdkOpenIdFunction : public JsSdkHostFunction {
 protected:
  // Asks the host to convert `openIds` (a null entry: no open id) of kind `idType`; false, and
  // nothing sent, without the host's channel.
  bool Convert(const char* idType, const Json::Value& openIds);
  // The conversion's answer; other answers aren't.
  static bool IsConversion(const char16_t* action);
};

// "biz.openContactsCard" (and its lower-case spelling): a person's card; no answer on success.
class JSOpenContactsCard final : public JsSdkOpenIdFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;
};

// "biz.openGroupChat": the group's chat in the client's main window.
class JSOpenGroupChat final : public JsSdkOpenIdFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;
};

// "biz.getSectorMember": the members of sectors as the app may see them, from the business
// core's contact object. It holds itself for the core's answer and ends with its last Release.
class JSGetSectorMembers final : public JsSdkOpenIdFunction {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;

 private:
  void OnMembers(IGData* data, Tnerror::Error* error);
};

}  // namespace tnwebui
