#pragma once

// The functions that tie a light app to the client's identity: "biz.getAuthCode" asks the
// business core for a one-time code for the app; "internal.biz.getVisitorToken" gives an
// internal page the device, centre and organisation tokens.

#include <memory>
#include <mutex>
#include <string>

#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnwebui/business_service.h"

namespace tnwebui {

class SharedAppId;

// An application id of a page: organisation and application, two decimal numbers joined by
// "-", each read with atoi; a text without "-" gives 0 and 0.
void SplitAppId(const std::string& text, int32_t* oid, int32_t* appId);

// "config": has the page's signature checked by the business core, and leaves the app's
// identity (the hexadecimal of its serialised tn.t.AppId) in the SDK before the check,
// whatever its result.
class JSConfigFunction final : public JsSdkFunction {
 public:
  explicit JSConfigFunction(std::shared_ptr<SharedAppId> shared) : sharedAppId(std::move(shared)) {}
  bool IsOneShot() override { return false; }  // answers later, from the core
  void Execute(const std::string& handlerName, const Json::Value& params) override;

 private:
  void OnAnswer(IGData* data, Tnerror::Error* error);

  std::string appIdHex;
  std::shared_ptr<SharedAppId> sharedAppId;
};

class JSGetAuthCodeFunction final : public JsSdkFunction {
 public:
  bool IsOneShot() override { return false; }  // answers later, from the core
  void Execute(const std::string& handlerName, const Json::Value& params) override;

 private:
  void OnAnswer(IGData* data, Tnerror::Error* error);
};

// Answers once both token requests have come back, whichever comes last. The object is never
// deleted: it stays, kept for the process, once it has asked.
class JSGetVisitorTokenFunction final
    : public JsSdkFunction,
      public std::enable_shared_from_this<JSGetVisitorTokenFunction> {
 public:
  bool IsOneShot() override { return false; }
  void Execute(const std::string& handlerName, const Json::Value& params) override;

 private:
  // The centre's answer (token and user id) or the organisation's (token).
  void OnToken(bool centre, IGData* data, Tnerror::Error* error);
  // The user's uid in the organisation, from the core's session; 0 when anything is missing.
  int32_t SessionUid();

  int32_t answers = 0;
  std::string deviceId;
  std::string centerUserId;
  std::string orgToken;
  std::string centerToken;
  std::mutex lock;
};

}  // namespace tnwebui
