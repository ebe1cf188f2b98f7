#pragma once

// The client's file dialog as the host answers a light app's chooser ("openfiledialog"): the
// files the user picked, each described as the host does, images with a thumbnail made for
// real (a PNG of at most 200 pixels a side in the thumbnail folder).

#include <string>
#include <vector>

#include "tnmainui/business_service.h"

namespace tnmainui {

class TNMAINUI_API FileDialogHost {
 public:
  explicit FileDialogHost(std::string thumbnailFolder);

  // True when `call` asks for the file dialog; `answers` then holds one answer: a JSON array
  // with `filePath`, `fileName`, `fileSize`, `mimeType`, and for images `thumbnail`, `width`,
  // `height`, for each of `picked` ("[]" when nothing was picked).
  bool Answer(const ChannelCall& call, const std::vector<std::string>& picked,
              std::vector<ChannelAnswer>* answers) const;

 private:
  std::string thumbnailFolder_;
};

}  // namespace tnmainui
