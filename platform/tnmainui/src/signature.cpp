#include "tnmainui/signature.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <memory>

#include "reflection.h"

namespace tnmainui {

std::string SignFields(const std::string& secret, const std::string& appId,
                       const std::string& nonce, const std::string& timestamp,
                       const std::string& url) {
  const std::string fields = appId + "|" + nonce + "|" + timestamp + "|" + url;
  return QMessageAuthenticationCode::hash(QByteArray::fromStdString(fields),
                                          QByteArray::fromStdString(secret),
                                          QCryptographicHash::Sha256)
      .toHex()
      .toStdString();
}

GoAnswer CheckSignature(const GoCall& call, const std::string& secret) {
  GoAnswer answer;
  std::unique_ptr<Message> keys = New("bridge.KArray");
  std::unique_ptr<Message> values = New("bridge.KVSArray");
  if (!keys || !values || call.args.empty() || !keys->ParseFromString(call.args[0])) {
    answer.code = 400;
    answer.message = "the keys do not parse";
    return answer;
  }
  const auto* array = keys->GetDescriptor()->FindFieldByName("Array");
  if (keys->GetReflection()->FieldSize(*keys, array) != 1) {
    answer.code = 400;
    answer.message = "one key is checked at a time";
    return answer;
  }
  const Message& key = Sub(Sub(keys->GetReflection()->GetRepeatedMessage(*keys, array, 0), "k_obj"),
                           "k_jsapi_signature_status");
  const Message& app = Sub(key, "app_id");
  const std::string appId =
      std::to_string(Number(app, "oid")) + "-" + std::to_string(Number(app, "app_id"));
  const bool ok = Text(key, "signature") == SignFields(secret, appId, Text(key, "nonce"),
                                                       Text(key, "timestamp"), Text(key, "url"));
  Message* element = values->GetReflection()->AddMessage(
      values.get(), values->GetDescriptor()->FindFieldByName("Array"));
  Message* status =
      MutableSub(MutableSub(MutableSub(element, "V"), "v_obj"), "v_jsapi_signature_status");
  status->GetReflection()->SetBool(status, status->GetDescriptor()->FindFieldByName("ok"), ok);
  answer.data = values->SerializeAsString();
  return answer;
}

}  // namespace tnmainui
