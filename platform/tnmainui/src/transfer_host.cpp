#include "tnmainui/transfer_host.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>

#include "host_json.h"
#include "tnmainui/http_client.h"

namespace tnmainui {

TransferHost::TransferHost(std::string downloadFolder, int uploadSteps)
    : downloadFolder_(std::move(downloadFolder)), uploadSteps_(std::max(1, uploadSteps)) {}

bool TransferHost::Answer(const ChannelCall& call, std::vector<ChannelAnswer>* answers) const {
  if (call.params.size() < 4) return false;
  const std::string action = Narrow(call.params[1]);
  if (action == "DowndloadFileWithURL") {
    *answers = Fetch(Narrow(call.params[3]));
  } else if (action == "UploadFileWithFilePath") {
    *answers = Upload(Narrow(call.params[3]));
  } else {
    return false;
  }
  return true;
}

std::vector<ChannelAnswer> TransferHost::Fetch(const std::string& json) const {
  Json::Value request;
  ChannelAnswer answer;
  answer.nullResult = true;
  if (!Parse(json, request) || !request.isObject()) return {answer};
  const std::string url = Text(request, "strUrl");
  std::string name = url.substr(0, url.find('?'));
  name = name.substr(name.rfind('/') + 1);
  const std::string path = downloadFolder_ + "/" + (name.empty() ? "download" : name);
  if (!FetchToFile(url, path)) return {answer};
  Json::Value result(Json::objectValue);
  result["filePath"] = path;
  answer.nullResult = false;
  answer.result = Widen(Write(result));
  return {answer};
}

std::vector<ChannelAnswer> TransferHost::Upload(const std::string& json) const {
  Json::Value request;
  if (!Parse(json, request) || !request.isObject() || !request["fileSize"].isUInt64()) {
    return {ChannelAnswer{}};
  }
  const uint64_t size = request["fileSize"].asUInt64();
  std::ifstream file(Text(request, "filePath") + "/" + Text(request, "fileName"), std::ios::binary);
  std::vector<ChannelAnswer> answers;
  Json::Value step(Json::objectValue);
  step["fileSize"] = Json::UInt64(size);
  if (!file) {
    answers.push_back(ChannelAnswer{0, Widen(Write(step))});
    return answers;
  }
  // The store's client reads the file in steps; each step is answered with what it has read.
  const uint64_t stepSize = std::max<uint64_t>(1, (size + uploadSteps_ - 1) / uploadSteps_);
  std::vector<char> buffer(static_cast<std::size_t>(std::min<uint64_t>(stepSize, 1 << 20)));
  uint64_t progress = 0;
  do {
    uint64_t left = std::min(stepSize, size - progress);
    while (left > 0 && file) {
      file.read(buffer.data(),
                static_cast<std::streamsize>(std::min<uint64_t>(left, buffer.size())));
      const auto got = static_cast<uint64_t>(file.gcount());
      if (got == 0) break;
      progress += got;
      left -= got;
    }
    step["progress"] = Json::UInt64(progress);
    answers.push_back(ChannelAnswer{0, Widen(Write(step))});
  } while (progress < size && file);
  return answers;
}

}  // namespace tnmainui
