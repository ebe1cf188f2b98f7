#pragma once

// The client's side of a light app's transfers, as its main window answers them on the
// business channel: "DowndloadFileWithURL" fetches a URL into the host's download folder,
// "UploadFileWithFilePath" reads a file to an object store in steps, each step answered.

#include <cstdint>
#include <string>
#include <vector>

#include "tnmainui/business_service.h"

namespace tnmainui {

class TNMAINUI_API TransferHost {
 public:
  // Files fetched for pages go into `downloadFolder`; uploads read in `uploadSteps` steps.
  explicit TransferHost(std::string downloadFolder, int uploadSteps = 4);

  // True when `call` is a transfer of the host's, with its answers in `answers`:
  // - a fetch: {"filePath": the file} with code 0, or a null result when it failed;
  // - an upload: {"fileSize": n, "progress": bytes read so far} for each step, code 0, the
  //   last with the whole size; a file that can't be read answers {"fileSize": n} alone.
  // The credentials of an upload are read by the store's client, never kept here.
  bool Answer(const ChannelCall& call, std::vector<ChannelAnswer>* answers) const;

 private:
  std::vector<ChannelAnswer> Fetch(const std::string& json) const;
  std::vector<ChannelAnswer> Upload(const std::string& json) const;

  std::string downloadFolder_;
  int uploadSteps_;
};

}  // namespace tnmainui
