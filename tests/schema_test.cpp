// The internal messages: every file compiles into its package, messages are reachable by
// their full names, and arguments of the wrong kind read as empty values.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <memory>

#include "auth.pb.h"
#include "base/param_reader.h"
#include "base/reply_codes.h"
#include "corecontact.pb.h"
#include "coretnmedia.pb.h"
#include "coretool.pb.h"
#include "jsapi.pb.h"
#include "options.pb.h"
#include "presentation.pb.h"

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

namespace {

const Descriptor* Find(const std::string& name) {
  return DescriptorPool::generated_pool()->FindMessageTypeByName("interdata." + name);
}

// Fills every scalar field of `m` with a value of its type.
void Fill(Message* m) {
  const auto* d = m->GetDescriptor();
  const auto* r = m->GetReflection();
  for (int i = 0; i < d->field_count(); ++i) {
    const FieldDescriptor* f = d->field(i);
    if (f->is_repeated()) continue;
    switch (f->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        r->SetInt32(m, f, 7 + i);
        break;
      case FieldDescriptor::CPPTYPE_INT64:
        r->SetInt64(m, f, 1LL << 40);
        break;
      case FieldDescriptor::CPPTYPE_BOOL:
        r->SetBool(m, f, true);
        break;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        r->SetDouble(m, f, 2.5);
        break;
      case FieldDescriptor::CPPTYPE_STRING:
        r->SetString(m, f, "t" + f->name());
        break;
      case FieldDescriptor::CPPTYPE_ENUM:
        r->SetEnumValue(m, f, 1);
        break;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        Fill(r->MutableMessage(m, f));
        break;
      default:
        break;
    }
  }
}

}  // namespace

TEST(Schema, OneMessageOfEachFileRoundTripsThroughReflection) {
  const std::pair<const char*, const char*> samples[] = {
      {"jsapi.proto", "ParamList"},         {"presentation.proto", "WindowProperty"},
      {"coretnid.proto", "CoreUserIdList"}, {"coretnmedia.proto", "CoreMediaInfo"},
      {"auth.proto", "CoreSession"},        {"coretool.proto", "CoreAppCodeReq"},
      {"options.proto", "GlobalOptions"},   {"corecontact.proto", "CoreOpenSectionMember"},
  };
  for (const auto& [file, name] : samples) {
    const Descriptor* d = Find(name);
    ASSERT_NE(d, nullptr) << name;
    EXPECT_EQ(d->file()->name(), file);
    EXPECT_EQ(d->file()->package(), "interdata");
    std::unique_ptr<Message> m(MessageFactory::generated_factory()->GetPrototype(d)->New());
    Fill(m.get());
    std::string bytes;
    ASSERT_TRUE(m->SerializeToString(&bytes));
    std::unique_ptr<Message> back(m->New());
    ASSERT_TRUE(back->ParseFromString(bytes));
    EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(*m, *back)) << name;
  }
}

TEST(Schema, ImportsOneOfsAndNumbersAreAsAgreedWithTheCore) {
  auto deps = [](const char* name) {
    std::vector<std::string> out;
    const auto* f = Find(name)->file();
    for (int i = 0; i < f->dependency_count(); ++i) out.push_back(f->dependency(i)->name());
    return out;
  };
  EXPECT_EQ(deps("TavrinWindowData"), std::vector<std::string>{"jsapi.proto"});
  EXPECT_EQ(deps("CoreMediaInfo"), std::vector<std::string>{"coretnid.proto"});
  EXPECT_EQ(deps("CoreOpenSectionMember"),
            (std::vector<std::string>{"coretnmedia.proto", "coretnid.proto"}));
  EXPECT_TRUE(deps("CoreSession").empty());

  EXPECT_EQ(Find("ParamItem")->FindOneofByName("ItemVal")->field_count(), 5);
  EXPECT_EQ(Find("CoreMediaInfo")->FindOneofByName("category")->field_count(), 3);
  EXPECT_EQ(Find("CoreMediaInfo")->FindFieldByName("localIdentifier")->number(), 16);
  EXPECT_EQ(Find("WindowProperty")->FindFieldByName("pos")->containing_oneof()->name(), "has_pos");
  EXPECT_TRUE(Find("TavrinWindowData")->FindFieldByName("extra_params")->is_map());
  EXPECT_TRUE(Find("CoreContext")->FindFieldByName("context")->is_map());
  EXPECT_EQ(interdata::ParamCount, 77781016);
  EXPECT_EQ(interdata::CoreSession::AUTHORIZE_LOGIN_STYLE, 1);
  EXPECT_EQ(tnwebui::reply::kNoBusinessCoreForOid, 785630);

  for (const char* name : {"CoreGroupId", "CoreWbGroupId", "CoreMediaIDList",
                           "CrossCreate_Response", "CoreAuthContext", "CoreUserVisibleList",
                           "CoreAppTokenResp", "CoreSectionIderList", "CoreOpenSectionMembersList",
                           "UnifyEvent", "CoreMediaList", "TaskOptions", "CoreAppCodeResp"}) {
    EXPECT_NE(Find(name), nullptr) << name;
  }
}

TEST(Schema, AbsentValuesAreToldFromZerosByTheOneOfCase) {
  interdata::WindowProperty p;
  EXPECT_EQ(p.has_title_case(), interdata::WindowProperty::HAS_TITLE_NOT_SET);
  p.set_title("");
  EXPECT_EQ(p.has_title_case(), interdata::WindowProperty::kTitle);
  std::string bytes = p.SerializeAsString();
  interdata::WindowProperty back;
  ASSERT_TRUE(back.ParseFromString(bytes));
  EXPECT_EQ(back.has_title_case(), interdata::WindowProperty::kTitle);
}

TEST(ParamReaders, ItemsOfAnotherKindReadAsEmptyValues) {
  interdata::ParamList list;
  list.add_items()->set_stringval("7");
  list.add_items()->set_intval(42);
  list.add_items()->set_bytesval(std::string("\0x", 2));
  list.add_items();  // no value at all

  using namespace tnwebui;
  EXPECT_EQ(ItemInt(ParamAt(list, 0)), 0);
  EXPECT_EQ(ItemString(ParamAt(list, 0)), "7");
  EXPECT_EQ(ItemInt(ParamAt(list, 1)), 42);
  EXPECT_EQ(ItemString(ParamAt(list, 1)), "");
  EXPECT_FALSE(ItemBool(ParamAt(list, 1)));
  EXPECT_EQ(ItemBytes(ParamAt(list, 2)), std::string("\0x", 2));
  EXPECT_EQ(ItemString(ParamAt(list, 2)), "");
  EXPECT_EQ(ItemDouble(ParamAt(list, 3)), 0);
  EXPECT_EQ(ItemInt(ParamAt(list, 4)), 0);
  EXPECT_EQ(ItemInt(ParamAt(list, -1)), 0);

  interdata::TavrinWindowData data;
  EXPECT_FALSE(HasExtraParam(data, "animation"));
  EXPECT_EQ(ItemInt(ExtraParam(data, "animation")), 0);
  (*data.mutable_extra_params())["prevWinId"].set_intval(-1);
  (*data.mutable_extra_params())["json"].set_intval(3);
  EXPECT_EQ(ItemInt(ExtraParam(data, "prevWinId")), -1);
  EXPECT_TRUE(HasExtraParam(data, "json"));
  EXPECT_EQ(ItemString(ExtraParam(data, "json")), "");
}

TEST(ParamReaders, MalformedBytesFailToParse) {
  interdata::ParamList list;
  EXPECT_FALSE(list.ParseFromString(std::string("\x1a\xff\xff\xff\xff\x0f", 6)));
  EXPECT_FALSE(
      list.ParseFromString(std::string("\x12\x05"
                                       "ab",
                                       4)));  // length past the end
  interdata::TavrinWindowData data;
  EXPECT_FALSE(data.ParseFromString("\xff\xff"));
}
