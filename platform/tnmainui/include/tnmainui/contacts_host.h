#pragma once

// The client's contacts as a light app reaches them, from a small sample organisation: the
// host converts the app's open ids into the client's own ("ConvertOpenIdToImplId" on the
// business channel), and the business core's contact object lists the members of sectors
// ("OpenSectorMembers"). What the host then opens (a card, a chat, a viewer) the channel
// records.
//
// The organisation (7): sectors "os_sales" (11, Sales: Alice, Bob) and "os_support" (12,
// Support: Carol); people "ou_alice", "ou_bob", "ou_carol"; the group "og_team".

#include <string>
#include <vector>

#include "tnmainui/business_service.h"

namespace tnmainui {

class TNMAINUI_API ContactsHost {
 public:
  static constexpr int32_t kOrganisation = 7;

  // True for a conversion, with its one answer: an array with an object for each requested id,
  // `implChatId` for people and groups, `implSectorId` (the hexadecimal of a tn.t.SectorId) for
  // sectors; an id the organisation doesn't know gets an empty object.
  bool Answer(const ChannelCall& call, std::vector<ChannelAnswer>* answers) const;
  // True for the contact object's "OpenSectorMembers": the members of the known sectors of the
  // list, as a CoreOpenSectionMembersList.
  bool AnswerCore(const GoCall& call, GoAnswer* answer) const;
  // The client's id of a person's or a group's chat ("staff-7-101", "group-7-501").
  static std::string ChatIdOf(const std::string& openId);
};

}  // namespace tnmainui
