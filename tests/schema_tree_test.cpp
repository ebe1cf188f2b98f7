// The client's `tn` schema tree: the envelope found and filled by reflection alone, the
// bridge's arrays round-tripped, and the numbers of the unions pinned by their wire bytes.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>

#include "tn/d/message.pb.h"
#include "tn/d/obj/bridge/bridge_KV.pb.h"
#include "tn/d/obj/jsapi_signature_status/message.pb.h"

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

const google::protobuf::Descriptor* Find(const std::string& name) {
  return DescriptorPool::generated_pool()->FindMessageTypeByName(name);
}

TEST(SchemaTree, TheEnvelopeIsBuiltByReflectionFromNamesAlone) {
  const auto* kType = Find("tn.d.K");
  ASSERT_NE(kType, nullptr);
  std::unique_ptr<Message> k(MessageFactory::generated_factory()->GetPrototype(kType)->New());
  const auto* reflection = k->GetReflection();
  Message* obj = reflection->MutableMessage(k.get(), kType->FindFieldByName("k_obj"));
  const auto* member = obj->GetDescriptor()->FindFieldByName("k_jsapi_signature_status");
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->number(), 69);
  EXPECT_EQ(member->containing_oneof()->name(), "oneof_k");
  Message* key = obj->GetReflection()->MutableMessage(obj, member);
  EXPECT_EQ(key->GetDescriptor()->full_name(), "tn.d.obj.jsapi_signature_status.K");
  key->GetReflection()->SetString(key, key->GetDescriptor()->FindFieldByName("nonce"), "n-1");
  Message* app =
      key->GetReflection()->MutableMessage(key, key->GetDescriptor()->FindFieldByName("app_id"));
  app->GetReflection()->SetInt32(app, app->GetDescriptor()->FindFieldByName("oid"), 7);

  // The same bytes as the generated classes make.
  tn::d::K typed;
  auto* status = typed.mutable_k_obj()->mutable_k_jsapi_signature_status();
  status->set_nonce("n-1");
  status->mutable_app_id()->set_oid(7);
  EXPECT_EQ(k->SerializeAsString(), typed.SerializeAsString());
  std::string text;
  google::protobuf::TextFormat::PrintToString(typed, &text);
  EXPECT_NE(text.find("k_jsapi_signature_status"), std::string::npos);

  // Every package holds its K and V; the unions hold one field each for every name.
  for (const char* name :
       {"tn.d.obj.export.K", "tn.d.set.sector_members.V", "tn.d.create.object_select.K",
        "tn.Status", "tn.t.Visitor", "bridge.CreateKVSArray", "tn.d.Changes"}) {
    EXPECT_NE(Find(name), nullptr) << name;
  }
  EXPECT_EQ(Find("tn.d.obj.K")->field_count(), 298);
  EXPECT_EQ(Find("tn.d.set.K")->field_count(), 77);
  EXPECT_EQ(Find("tn.d.create.V")->field_count(), 105);
}

TEST(SchemaTree, AnAnswerArrayRoundTrips) {
  bridge::KVSArray answer;
  bridge::KVS* kvs = answer.add_array();
  kvs->mutable_k()->set_base_version("v1");
  kvs->mutable_k()->mutable_k_obj()->mutable_k_jsapi_signature_status()->set_url("https://a/");
  kvs->mutable_v()->set_mode(tn::d::V::NOT_MODIFIED);
  kvs->mutable_v()->set_life_cycle(tn::d::V::SESSION);
  kvs->mutable_v()->mutable_v_obj()->mutable_v_jsapi_signature_status()->set_ok(true);
  kvs->mutable_s()->set_code(tn::INVALID_REQUEST);
  kvs->set_stype(bridge::StatusTypeLocal);
  bridge::KVSArray back;
  ASSERT_TRUE(back.ParseFromString(answer.SerializeAsString()));
  EXPECT_EQ(back.DebugString(), answer.DebugString());
  EXPECT_TRUE(back.array(0).v().v_obj().v_jsapi_signature_status().ok());
  EXPECT_EQ(back.array(0).s().code(), -1);
}

// The first bytes of a union holding one member: the member's tag. A renumbering changes them.
std::string Tag(int number) {
  std::string tag;
  uint32_t v = static_cast<uint32_t>(number) << 3 | 2;
  while (v >= 0x80) {
    tag.push_back(static_cast<char>(v | 0x80));
    v >>= 7;
  }
  tag.push_back(static_cast<char>(v));
  return tag;
}

TEST(SchemaTree, GoldenNumbersOfFirstMiddleAndLastNames) {
  struct Pin {
    const char* unionName;
    const char* member;
    int number;
  };
  const Pin pins[] = {
      {"tn.d.obj.K", "k_bot_meta", 1},
      {"tn.d.obj.K", "k_open_id", 66},
      {"tn.d.obj.K", "k_jsapi_signature_status", 69},
      {"tn.d.obj.K", "k_app_account_id", 70},
      {"tn.d.obj.V", "v_staff_session_metas", 40},
      {"tn.d.obj.K", "k_datastat_stat_data_from_manage", 300},
      {"tn.d.set.K", "k_sector_members", 1},
      {"tn.d.set.V", "v_app_roamings", 17},
      {"tn.d.set.K", "k_shortcuts_v2_from_manage", 77},
      {"tn.d.create.K", "k_bot", 1},
      {"tn.d.create.V", "v_app", 26},
      {"tn.d.create.K", "k_object_select", 105},
  };
  for (const Pin& pin : pins) {
    const auto* type = Find(pin.unionName);
    ASSERT_NE(type, nullptr) << pin.unionName;
    const auto* field = type->FindFieldByName(pin.member);
    ASSERT_NE(field, nullptr) << pin.member;
    std::unique_ptr<Message> m(MessageFactory::generated_factory()->GetPrototype(type)->New());
    m->GetReflection()->MutableMessage(m.get(), field);  // an empty member
    EXPECT_EQ(m->SerializeAsString(), Tag(pin.number) + std::string(1, '\0')) << pin.member;
  }
  // Numbers 67 and 68 of the objects stand unused.
  EXPECT_EQ(Find("tn.d.obj.K")->FindFieldByNumber(67), nullptr);
  EXPECT_EQ(Find("tn.d.obj.K")->FindFieldByNumber(68), nullptr);
}

}  // namespace
