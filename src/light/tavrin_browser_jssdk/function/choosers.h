#pragma once

// The choosers of a light app: files, images and videos through the host's file dialog, with
// the page's limits applied to what the user chose; contacts and departments through the
// client's picker, whose result comes back as the event "tn.onchooseresult".

#include <atomic>
#include <cstdint>
#include <string>

#include "hav/hav.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_function.h"
#include "tnwebui/services.h"

namespace tnwebui {

// A chooser asks the host once and ends when its answer is in.
class JsSdkChooser : public JsSdkHeldFunction {
 protected:
  // The text of language key `key`, shown as it is (a "%" in a translation stays a "%").
  static void ShowKeyTip(const char* key);
  // The text of language key `key` as the tip's format, with `argument` for its "%s".
  static void ShowKeyTipWith(const char* key, const std::string& argument);
};

class JSChooseFile final : public JsSdkChooser {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;

 private:
  int32_t max = 0;
  int32_t maxSize = 0;
  std::string maxTip;
};

class JSChooseImage final : public JsSdkChooser {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;

 private:
  int32_t count = 0;
};

class JSChooseVideo final : public JsSdkChooser {
 public:
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t* business, const char16_t* action, const char16_t* third,
                        int32_t code, const char16_t* result) override;

 private:
  int32_t maxDuration = 300;  // seconds
};

// Contacts and departments: the question is posted to the user-interface thread through hav's
// task runner, and the picker's result arrives as an event on the client's bus.
class JSChooseContacts : public JsSdkChooser, public TavrinEventReceiver {
 public:
  JSChooseContacts();
  ~JSChooseContacts() override;
  void Execute(const std::string& handlerName, const Json::Value& params) override;
  void OnBusinessResult(const char16_t*, const char16_t*, const char16_t*, int32_t,
                        const char16_t*) override {}
  void OnEvent(int32_t type, const char* name, const char* format, const char* data,
               int32_t size) override;

 protected:
  // Departments only: the picker offers sectors alone.
  virtual bool OnlySupportSector() const { return false; }

 private:
  void Run(const Json::Value& params);
  EventBus* Bus();

  xhav::TaskRunner* runner = nullptr;  // hav's, owned; null when hav has none
  static constexpr int32_t taskId = 7;
  int32_t taskHandle = -1;
  std::atomic<bool> ended{false};
};

class JSChooseDepartments final : public JSChooseContacts {
 protected:
  bool OnlySupportSector() const override { return true; }
};

}  // namespace tnwebui
