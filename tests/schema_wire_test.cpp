// The wire form of the internal messages. The business core and the pages read these bytes, so
// the field numbers and types are part of the contract: each expected text below is written
// from the field tables (tag = number << 3 | wire type), not from the generated classes, and a
// renumbered or retyped field fails here. One test per schema file.

#include <gtest/gtest.h>

#include <string>

#include "auth.pb.h"
#include "corecontact.pb.h"
#include "coretnid.pb.h"
#include "coretnmedia.pb.h"
#include "coretool.pb.h"
#include "jsapi.pb.h"
#include "options.pb.h"
#include "presentation.pb.h"

// clang-format off: the expected bytes stand one field to a line.
namespace {

// The bytes of a literal, its zero bytes included.
template <std::size_t N>
std::string Wire(const char (&bytes)[N]) {
  return std::string(bytes, N - 1);
}

std::string Serialized(const google::protobuf::Message& m) {
  std::string out;
  EXPECT_TRUE(m.SerializeToString(&out));
  return out;
}

}  // namespace

TEST(SchemaWire, Jsapi) {
  interdata::ParamList list;
  list.set_oid(7);
  list.set_callid("c");
  list.add_items()->set_intval(1);
  list.add_items()->set_doubleval(0.5);
  list.add_items()->set_stringval("s");
  list.add_items()->set_boolval(true);
  list.add_items()->set_bytesval("b");
  EXPECT_EQ(Serialized(list), Wire("\x08\x07"  // 1 oid: 7
                                   "\x12\x01"
                                   "c"  // 2 callId
                                   "\x1a\x02"
                                   "\x08\x01"  // 3 items: 1 intVal
                                   "\x1a\x09"
                                   "\x11\x00\x00\x00\x00\x00\x00\xe0\x3f"  // 2 double
                                   "\x1a\x03"
                                   "\x1a\x01"
                                   "s"  // 3 stringVal
                                   "\x1a\x02"
                                   "\x20\x01"  // 4 boolVal
                                   "\x1a\x03"
                                   "\x2a\x01"
                                   "b"  // 5 bytesVal
                                   ));
  interdata::Response response;
  response.set_code(interdata::InvalidAPI);
  response.set_desc("d");
  response.set_data("x");
  EXPECT_EQ(Serialized(response), Wire("\x08\x9a\x8b\xc6\x01"  // 1 code: 3245466
                                       "\x12\x01"
                                       "d"  // 2 desc
                                       "\x1a\x01"
                                       "x"));  // 3 data
}

TEST(SchemaWire, Presentation) {
  interdata::TavrinWindowData data;
  data.set_id(1);
  data.set_oid(2);
  data.set_uid(3);
  data.set_name("n");
  data.set_openurl("u");
  (*data.mutable_extra_params())["json"].set_stringval("{}");
  EXPECT_EQ(Serialized(data), Wire("\x08\x01"
                                   "\x10\x02"
                                   "\x18\x03"  // 1 id, 2 oid, 3 uid
                                   "\x22\x01"
                                   "n"  // 4 name
                                   "\x2a\x01"
                                   "u"         // 5 openurl
                                   "\x32\x0c"  // 6 extra_params: an entry of
                                   "\x0a\x04"
                                   "json"  //   1 key
                                   "\x12\x04"
                                   "\x1a\x02"
                                   "{}"));  //   2 value: 3 stringVal

  // The one-of fields are written when they hold zero: that is how absence is told.
  interdata::WindowProperty property;
  property.set_has_taskbar_icon(true);
  property.set_title("t");
  property.mutable_pos()->set_pos_type("topcenter");
  property.mutable_pos()->set_x(10);
  property.mutable_pos()->set_y(20);
  property.mutable_pos()->set_width(300);
  property.mutable_pos()->set_height(200);
  property.set_show_titlebar(false);
  property.set_topaway(true);
  property.set_resize(false);
  EXPECT_EQ(Serialized(property),
            Wire("\x08\x01"  // 1 has_taskbar_icon
                 "\x12\x01"
                 "t"         // 2 title
                 "\x1a\x15"  // 3 pos:
                 "\x0a\x09"
                 "topcenter"
                 "\x10\x0a"
                 "\x18\x14"
                 "\x20\xac\x02"
                 "\x28\xc8\x01"
                 "\x20\x00"     // 4 show_titlebar: false, present
                 "\x28\x01"     // 5 topaway
                 "\x30\x00"));  // 6 resize: false, present

  interdata::UnifyEvent event;
  event.set_oid(7);
  event.set_event_type("e");
  event.set_data_name("m");
  event.set_data_buf("\x01");
  EXPECT_EQ(Serialized(event), Wire("\x08\x07"
                                    "\x12\x01"
                                    "e"
                                    "\x1a\x01"
                                    "m"
                                    "\x22\x01\x01"));
}

TEST(SchemaWire, Coretnid) {
  interdata::CoreUserIdList users;
  auto* user = users.add_ciders();
  user->set_oid(1);
  user->set_uid(2);
  EXPECT_EQ(Serialized(users), Wire("\x0a\x04"
                                    "\x08\x01"
                                    "\x10\x02"));
  interdata::CoreAppId app;
  app.set_oid(3);
  app.set_appid(4);
  EXPECT_EQ(Serialized(app), Wire("\x08\x03"
                                  "\x10\x04"));
  interdata::CoreSectionIderList sections;
  auto* section = sections.add_iders();
  section->set_oid(5);
  section->set_sid(6);
  EXPECT_EQ(Serialized(sections), Wire("\x0a\x04"
                                       "\x08\x05"
                                       "\x10\x06"));
}

TEST(SchemaWire, Coretnmedia) {
  interdata::CoreMediaInfo info;
  info.set_name("a.txt");
  info.set_size(1LL << 40);
  info.set_type(interdata::IMAGE);
  info.set_localpath("/p");
  info.set_localstate(interdata::Prepared);
  info.set_createtime(99);
  info.mutable_creator()->set_oid(1);
  info.mutable_creator()->set_uid(2);
  info.mutable_image()->set_width(640);
  info.mutable_image()->set_height(480);
  info.mutable_parentdirid()->set_oid(1);
  info.mutable_parentdirid()->set_fid(9);
  info.set_localidentifier("res://local/p");
  info.add_permissions(interdata::MP_READ);
  info.add_permissions(interdata::MP_DOWNLOAD);
  auto* special = info.mutable_coremediaspecialdesc();
  special->set_specialdesc("sd");
  special->set_specialtype(interdata::SPEC_ZIP_DIR);
  special->mutable_extra()->set_filenetareatag("area");
  info.set_expiretime(1000);
  EXPECT_EQ(Serialized(info),
            Wire("\x0a\x05"
                 "a.txt"                         // 1 name
                 "\x10\x80\x80\x80\x80\x80\x20"  // 2 size: 2^40
                 "\x18\x02"                      // 3 type: IMAGE
                 "\x22\x02"
                 "/p"        // 4 localPath
                 "\x28\x03"  // 5 localState: Prepared
                 "\x30\x63"  // 6 createTime: 99
                 "\x3a\x04"
                 "\x08\x01\x10\x02"  // 7 creator
                 "\x5a\x06"
                 "\x08\x80\x05\x10\xe0\x03"  // 11 image: 640 x 480
                 "\x7a\x04"
                 "\x08\x01\x10\x09"  // 15 parentDirId
                 "\x82\x01\x0d"
                 "res://local/p"  // 16 localIdentifier
                 "\x8a\x01\x02"
                 "\x01\x03"  // 17 permissions, packed
                 "\x92\x01\x0e"
                 "\x0a\x02"
                 "sd"
                 "\x10\x01"
                 "\x1a\x06"
                 "\x0a\x04"
                 "area"                 // 18
                 "\x98\x01\xe8\x07"));  // 19 expireTime: 1000
  interdata::CoreMediaInfo video;
  video.mutable_video()->set_width(1);
  video.mutable_video()->set_height(2);
  video.mutable_video()->set_length(3);
  EXPECT_EQ(Serialized(video), Wire("\x52\x06"
                                    "\x08\x01\x10\x02\x18\x03"));  // 10 video
  interdata::CoreMediaInfo audio;
  audio.mutable_audio()->set_length(4);
  EXPECT_EQ(Serialized(audio), Wire("\x62\x02"
                                    "\x08\x04"));  // 12 audio
  interdata::CoreMediaList medias;
  auto* media = medias.add_medias();
  media->mutable_mediaid()->set_oid(1);
  media->mutable_mediaid()->set_fid(2);
  media->mutable_mediainfo()->set_name("f");
  EXPECT_EQ(Serialized(medias), Wire("\x0a\x0b"  // 1 medias:
                                     "\x0a\x04"
                                     "\x08\x01\x10\x02"  //   1 mediaId
                                     "\x12\x03"
                                     "\x0a\x01"
                                     "f"));  //   2 mediaInfo
}

TEST(SchemaWire, Auth) {
  interdata::CoreSession session;
  session.set_oid(1);
  session.set_uid(2);
  session.set_token("tok");
  session.set_loginstyle(interdata::CoreSession::AUTHORIZE_LOGIN_STYLE);
  session.set_catype(0);
  EXPECT_EQ(Serialized(session), Wire("\x08\x01"
                                      "\x10\x02"
                                      "\x1a\x03"
                                      "tok"
                                      "\x20\x01"
                                      "\x28\x00"));  // 5 caType: 0, present
  interdata::CoreContext context;
  (*context.mutable_context())["k"] = "v";
  EXPECT_EQ(Serialized(context), Wire("\x0a\x06"
                                      "\x0a\x01"
                                      "k"
                                      "\x12\x01"
                                      "v"));
}

TEST(SchemaWire, Corecontact) {
  interdata::CoreOpenSectionMembersList list;
  auto* members = list.add_array();
  members->mutable_sid()->set_oid(1);
  members->mutable_sid()->set_sid(5);
  auto* member = members->add_members();
  member->mutable_uid()->set_oid(1);
  member->mutable_uid()->set_uid(2);
  member->set_openuid("open");
  member->set_name("Ann");
  member->mutable_avatar()->set_oid(1);
  member->mutable_avatar()->set_fid(3);
  member->set_avatarurl("http://a");
  EXPECT_EQ(Serialized(list), Wire("\x0a\x29"  // 1 array:
                                   "\x0a\x04"
                                   "\x08\x01\x10\x05"  //   1 sId
                                   "\x12\x21"          //   2 members:
                                   "\x0a\x04"
                                   "\x08\x01\x10\x02"  //     1 uid
                                   "\x12\x04"
                                   "open"  //     2 openUid
                                   "\x1a\x03"
                                   "Ann"  //     3 name
                                   "\x22\x04"
                                   "\x08\x01\x10\x03"  //     4 avatar
                                   "\x2a\x08"
                                   "http://a"));  //     5 avatarUrl
}

TEST(SchemaWire, Coretool) {
  interdata::CoreAppCodeReq request;
  request.set_appoid(1);
  request.set_appid(2);
  request.set_serverurl("https://s");
  EXPECT_EQ(Serialized(request), Wire("\x08\x01"
                                      "\x10\x02"
                                      "\x1a\x09"
                                      "https://s"));
  interdata::CoreAppCodeResp answer;
  answer.set_code("code");
  EXPECT_EQ(Serialized(answer), Wire("\x0a\x04"
                                     "code"));
}

TEST(SchemaWire, Options) {
  interdata::TaskOptions task;
  task.set_needauth(true);
  task.set_netsensitive(true);
  task.add_timeoutretry(100);
  task.add_timeoutretry(300);
  EXPECT_EQ(Serialized(task), Wire("\x08\x01"
                                   "\x10\x01"
                                   "\x1a\x03"
                                   "\x64\xac\x02"));
  interdata::GlobalOptions global;
  global.add_timeoutretry(5);
  global.set_httptimeout(30000);
  EXPECT_EQ(Serialized(global), Wire("\x0a\x01\x05"
                                     "\x10\xb0\xea\x01"));
}
// clang-format on
