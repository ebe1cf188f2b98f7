#pragma once

// The client around a light app under tnwebui-run: the host object with its services, the
// business core's service (identity, the sample organisation), the business channel of the
// client's main window (file dialog, transfers, voice player, contact choosers, sharing), a
// loopback file server for downloads, and the business core that answers the app's actions,
// each as the host file says.

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host_file.h"
#include "tnmainui/business_core.h"
#include "tnmainui/business_service.h"
#include "tnmainui/contacts_host.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/file_dialog_host.h"
#include "tnmainui/file_server.h"
#include "tnmainui/inproc_host.h"
#include "tnmainui/transfer_host.h"
#include "tnmainui/voice_player.h"
#include "watch.h"

namespace xhav::cdp {
class Engine;
}

namespace run {

class AppHost {
 public:
  // Everything the run makes (sample files, downloads) goes into `folder`; what the host does
  // for the app is said through `watch`.
  AppHost(xhav::cdp::Engine& engine, const HostFile& file, const std::string& folder, Watch& watch);
  ~AppHost();
  AppHost(const AppHost&) = delete;
  AppHost& operator=(const AppHost&) = delete;

  // Why the host can't serve the app (a port in use); empty when it can.
  const std::string& error() const { return error_; }
  ModuleHost* host() { return &host_; }
  // The business core of the app's window (the caller's reference).
  tnmainui::ScriptedBusinessCore* core() { return core_; }

  // What a script says of the client's next chooser and next answer: the next chooser is
  // cancelled; the next file dialog picks `files`; the next host call of the app is answered
  // with `json`.
  void CancelNextChooser();
  void PickNext(const std::vector<std::string>& files);
  void AnswerNext(const std::string& json);
  // The loopback server's address of `path`.
  std::string Url(const std::string& path) const { return server_.Url(path); }

 private:
  std::vector<tnmainui::ChannelAnswer> Answer(const tnmainui::ChannelCall& call);
  void MakeSamples();
  // The script's word for the next chooser, taken: "cancel", "pick" (with `files`), or empty.
  std::string TakeChooserWord(bool fileDialog, std::vector<std::string>* files);
  void CheckConfig(const tnmainui::GoCall& call, const std::string& secret);

  xhav::cdp::Engine& engine_;
  HostFile file_;
  std::string folder_;
  Watch& watch_;
  std::string error_;
  std::mutex scriptMutex_;
  std::string nextChooser_;  // "cancel" or "pick"
  std::vector<std::string> nextFiles_;
  std::string nextAnswer_;  // JSON text, or empty
  tnmainui::InProcessHost host_;
  tnmainui::InProcessEventBus bus_;
  tnmainui::ContactsHost organisation_;
  tnmainui::ScriptedBusinessService service_;
  tnmainui::FileServer server_;
  tnmainui::TransferHost transfers_;
  tnmainui::FileDialogHost dialog_;
  tnmainui::VoicePlayer player_;
  tnmainui::ScriptedBusinessChannel channel_;
  tnmainui::ScriptedBusinessCore* core_;
};

}  // namespace run
