#pragma once

// Symbols of the TnBase stand-in library, which the module, the hosts and the tests share.
#define TNBASE_API __attribute__((visibility("default")))
