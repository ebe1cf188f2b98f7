#pragma once

// What tnwebui-run sees of a light app, as one timed line a step: the app's SDK calls and
// their answers, its business actions and their results, events, desktop commands, the
// transfers' progress, the page's console, its uncaught errors and its policy's refusals.
// It also keeps the app's mistakes for --check: a name the SDK doesn't serve, a payload the
// declarations refuse, a call never answered, an uncaught error or rejection, a content
// security policy's refusal, a business action that the rights rule refused, a document or file
// that did not load.
//
// Each On... may come from any thread.

#include <json/value.h>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "cef/cef_values.h"

namespace run {

struct Mistake {
  std::string kind;    // "unknown SDK name", "payload refused", ...
  std::string detail;  // what, where
};

// A mistake and how many times it was seen.
struct Counted {
  Mistake mistake;
  int times = 1;
};

class Watch {
 public:
  using Print = std::function<void(const std::string& line)>;
  explicit Watch(Print print);

  // A process message from a page's render side to the host (`toHost`) or back, with its
  // arguments as JSON (strings, numbers, lists).
  void OnMessage(bool toHost, int browser, const std::string& name, const Json::Value& args);
  // A script that the host runs in a page.
  void OnScript(int browser, const std::string& script);
  // A desktop command the module's handler served: its path and the codes it answered.
  void OnRequest(int browser, const std::string& path, const std::string& codes);
  // What the host or the business core does for the app.
  void OnHost(const std::string& text);
  // The business core took `name` ("business/action") from a light window, which passes it no
  // callback: a page that gave the call a callback waits in vain.
  void OnActionUnanswered(const std::string& name);
  // A step of the run's script begins.
  void OnStep(const std::string& text);
  // A mistake that the host or the business core found.
  void OnMistake(const std::string& kind, const std::string& detail);
  // A line of the module's log.
  void OnLog(int level, const std::string& function, const std::string& text);
  // The page's own words: a console call, an uncaught error, a policy's refusal.
  void OnPageMessage(int browser, const std::string& kind, const std::string& level,
                     const std::string& text, const std::string& where);
  // Finds where a text stands in a document the app serves from its own files: the line (from
  // 1) of the first line of `address`'s file holding `text`, or 0. A policy's refusal is then
  // placed at the element that asked for what was refused, not where the parser was.
  using SourceFinder = std::function<int(const std::string& address, const std::string& text)>;
  void SetSourceFinder(SourceFinder finder);
  // The address of the app's page, and whether that document failed to load or answered an
  // error status.
  void SetMainAddress(const std::string& address);
  bool MainFailed() const;
  // The app runs in a light window (true) or in a framed one: a light window serves none of
  // tnpc's window functions.
  void SetLightWindow(bool light);
  // The run is over: the calls still waiting for their answers become mistakes.
  void Finish();

  // Seconds since the watch began: the one zero point of the run's times.
  double Seconds() const;
  std::vector<Mistake> mistakes() const;
  // The mistakes, the same one seen again counted rather than repeated, in the order first seen.
  std::vector<Counted> Counts() const;
  // How many calls the app has made: all of them, or those of `name` (an SDK name such as
  // "ui.closeWindow", or a tnpc call's message such as "closewnd").
  int Calls(const std::string& name = std::string()) const;
  // The --check report: a first line with the count, then each mistake (the same one seen
  // again is counted, not repeated); "no mistakes" when there is none.
  std::string Report() const;

 private:
  struct Call {
    std::string name;
    bool waits = false;    // the client answers it
    int lastQuarter = -1;  // the last progress step printed
  };
  void Say(const char* kind, const std::string& text);
  void Found(const std::string& kind, const std::string& detail);
  void Count(const std::string& name);
  std::string PlaceOfRefusal(const std::string& text, const std::string& where) const;
  void OnSdkMessage(const Json::Value& message);
  void OnBridgeScript(const Json::Value& message);
  void OnProgress(const std::string& name, Call& call, const Json::Value& payload);

  Print print_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  mutable std::mutex mutex_;
  std::map<std::string, Call> calls_;  // by callback id
  // Classic actions' callback ids by "business/action".
  std::map<std::string, std::string> actionCallbacks_;
  std::map<std::string, int> callCounts_;  // by name; "" counts them all
  std::deque<std::string> unnamed_;        // calls without a callback, waiting for their answers
  std::vector<Mistake> mistakes_;
  std::string mainAddress_;
  bool mainFailed_ = false;
  bool lightWindow_ = true;
  SourceFinder findSource_;
};

// A process message's argument list as JSON, for Watch::OnMessage: binary values as
// "<n bytes>".
Json::Value ArgsOf(const CefRefPtr<CefListValue>& list);

}  // namespace run
