#pragma once

// The fifteen answers of the JS SDK as pages of light apps know them, written out here as text
// so that the tests never take them from the module's own table: a changed character in the
// module fails every test that expects its answer.

namespace sdk_text {

struct Template {
  const char* head;
  const char* tail;  // null: no piece of JSON between head and tail
};

// By number, 1 to 15 (0 is unused).
inline constexpr Template kTemplates[16] = {
    {"", nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\": {}}", nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\":{}}", nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\": {\"authCode\":\"%s\"}}",
     nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\": {\"fileList\":", "}}"},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\": {\"tempFiles\":", "}}"},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\":", "}"},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\": ", "}"},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\":{\"localId\":\"%s\"}}",
     nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"},\"meta\": {},\"data\": "
     "{\"endTime\":0,\"finished\":true}}",
     nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"ok\"}},\"meta\": {},\"data\": {}", nullptr},
    {"{\"status\":{\"code\":%d,\"message\":\"%s\"}}", nullptr},
    {"{\"status\":{\"code\":404,\"message\":\"\"}}", nullptr},
    {"{\"status\":{\"code\":0,\"message\":\"ok\"}}", nullptr},
    {"{\"status\":{\"code\":0,\"message\":\"ok\"},\"meta\": {},\"data\": {}}", nullptr},
    {"{\"status\": {\"code\": %d,\"message\": \"OK\"},\"meta\": {},\"data\": "
     "{\"deviceId\":\"%s\",\"center\":{\"userId\":\"%s\",\"token\": \"%s\",\"domain\": "
     "\"tncenter\"},\"org\": {\"userId\": {\"oid\": %d,\"uid\": %d},\"token\": \"%s\",\"domain\": "
     "\"tn.org.%d\"}}}",
     nullptr},
};

}  // namespace sdk_text
