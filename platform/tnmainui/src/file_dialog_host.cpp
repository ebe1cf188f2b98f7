#include "tnmainui/file_dialog_host.h"

#include <json/value.h>
#include <json/writer.h>

#include <QFileInfo>
#include <QImage>
#include <QString>

namespace tnmainui {

namespace {

constexpr int kThumbnailSide = 200;

std::string MimeType(const QString& suffix) {
  const QString s = suffix.toLower();
  if (s == "png") return "image/png";
  if (s == "jpg" || s == "jpeg") return "image/jpeg";
  if (s == "gif") return "image/gif";
  if (s == "mp4") return "video/mp4";
  if (s == "pdf") return "application/pdf";
  return "application/octet-stream";
}

}  // namespace

FileDialogHost::FileDialogHost(std::string thumbnailFolder)
    : thumbnailFolder_(std::move(thumbnailFolder)) {}

bool FileDialogHost::Answer(const ChannelCall& call, const std::vector<std::string>& picked,
                            std::vector<ChannelAnswer>* answers) const {
  if (call.params.size() < 2 || call.params[1] != u"openfiledialog") return false;
  Json::Value files(Json::arrayValue);
  for (const std::string& path : picked) {
    const QFileInfo info(QString::fromStdString(path));
    Json::Value file;
    file["filePath"] = path;
    file["fileName"] = info.fileName().toStdString();
    file["fileSize"] = Json::Int64(info.size());
    file["mimeType"] = MimeType(info.suffix());
    QImage image;
    if (image.load(info.filePath())) {
      file["width"] = image.width();
      file["height"] = image.height();
      const std::string thumbnail =
          thumbnailFolder_ + "/" + info.completeBaseName().toStdString() + "_thumb.png";
      const QImage small = image.width() > kThumbnailSide || image.height() > kThumbnailSide
                               ? image.scaled(kThumbnailSide, kThumbnailSide, Qt::KeepAspectRatio,
                                              Qt::SmoothTransformation)
                               : image;
      if (small.save(QString::fromStdString(thumbnail), "PNG")) file["thumbnail"] = thumbnail;
    }
    files.append(file);
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  const std::string json = Json::writeString(builder, files);
  answers->assign(1, ChannelAnswer{0, std::u16string(json.begin(), json.end())});
  return true;
}

}  // namespace tnmainui
