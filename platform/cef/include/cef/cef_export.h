#pragma once

#define CEF_API __attribute__((visibility("default")))
