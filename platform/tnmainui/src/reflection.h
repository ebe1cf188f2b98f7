#pragma once

// The module's messages by name: the host's stand-ins read and write them through reflection,
// as their classes live in the module (once per process) and only their descriptors are shared.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <string>

namespace tnmainui {

using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// A new message of the full type name `type`; null when no such type is loaded.
inline std::unique_ptr<Message> New(const char* type) {
  const auto* descriptor = DescriptorPool::generated_pool()->FindMessageTypeByName(type);
  if (!descriptor) return nullptr;
  return std::unique_ptr<Message>(
      MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

inline const Message& Sub(const Message& m, const char* field) {
  return m.GetReflection()->GetMessage(m, m.GetDescriptor()->FindFieldByName(field));
}
inline Message* MutableSub(Message* m, const char* field) {
  return m->GetReflection()->MutableMessage(m, m->GetDescriptor()->FindFieldByName(field));
}
inline std::string Text(const Message& m, const char* field) {
  return m.GetReflection()->GetString(m, m.GetDescriptor()->FindFieldByName(field));
}
inline int32_t Number(const Message& m, const char* field) {
  return m.GetReflection()->GetInt32(m, m.GetDescriptor()->FindFieldByName(field));
}
inline void SetText(Message* m, const char* field, const std::string& value) {
  m->GetReflection()->SetString(m, m->GetDescriptor()->FindFieldByName(field), value);
}
inline void SetNumber(Message* m, const char* field, int32_t value) {
  m->GetReflection()->SetInt32(m, m->GetDescriptor()->FindFieldByName(field), value);
}
inline int Count(const Message& m, const char* field) {
  return m.GetReflection()->FieldSize(m, m.GetDescriptor()->FindFieldByName(field));
}
inline const Message& At(const Message& m, const char* field, int index) {
  return m.GetReflection()->GetRepeatedMessage(m, m.GetDescriptor()->FindFieldByName(field), index);
}
inline Message* Add(Message* m, const char* field) {
  return m->GetReflection()->AddMessage(m, m->GetDescriptor()->FindFieldByName(field));
}

}  // namespace tnmainui
