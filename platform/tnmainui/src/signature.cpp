#include "tnmainui/signature.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <memory>

#include "reflection.h"

namespace tnmainui {

std::string SignedText(const SignedFields& f) {
  return f.appId + "|" + f.nonce + "|" + f.timestamp + "|" + f.url;
}

std::string SignFields(const std::string& secret, const std::string& appId,
                       const std::string& nonce, const std::string& timestamp,
                       const std::string& url) {
  const std::string fields = SignedText({appId, nonce, timestamp, url, ""});
  return QMessageAuthenticationCode::hash(QByteArray::fromStdString(fields),
                                          QByteArray::fromStdString(secret),
                                          QCryptographicHash::Sha256)
      .toHex()
      .toStdString();
}

std::string ReadSignedFields(const GoCall& call, SignedFields* fields) {
  std::unique_ptr<Message> keys = New("bridge.KArray");
  if (!keys || call.args.empty() || !keys->ParseFromString(call.args[0]))
    return "the keys do not parse";
  const auto* array = keys->GetDescriptor()->FindFieldByName("Array");
  if (keys->GetReflection()->FieldSize(*keys, array) != 1) return "one key is checked at a time";
  const Message& key = Sub(Sub(keys->GetReflection()->GetRepeatedMessage(*keys, array, 0), "k_obj"),
                           "k_jsapi_signature_status");
  const Message& app = Sub(key, "app_id");
  fields->appId = std::to_string(Number(app, "oid")) + "-" + std::to_string(Number(app, "app_id"));
  fields->nonce = Text(key, "nonce");
  fields->timestamp = Text(key, "timestamp");
  fields->url = Text(key, "url");
  fields->signature = Text(key, "signature");
  return std::string();
}

GoAnswer CheckSignature(const GoCall& call, const std::string& secret) {
  GoAnswer answer;
  std::unique_ptr<Message> values = New("bridge.KVSArray");
  SignedFields fields;
  const std::string wrong = values ? ReadSignedFields(call, &fields) : "the keys do not parse";
  if (!wrong.empty()) {
    answer.code = 400;
    answer.message = wrong;
    return answer;
  }
  const bool ok = fields.signature ==
                  SignFields(secret, fields.appId, fields.nonce, fields.timestamp, fields.url);
  Message* element = values->GetReflection()->AddMessage(
      values.get(), values->GetDescriptor()->FindFieldByName("Array"));
  Message* status =
      MutableSub(MutableSub(MutableSub(element, "V"), "v_obj"), "v_jsapi_signature_status");
  status->GetReflection()->SetBool(status, status->GetDescriptor()->FindFieldByName("ok"), ok);
  answer.data = values->SerializeAsString();
  return answer;
}

}  // namespace tnmainui
