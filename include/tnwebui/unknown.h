#pragma once

/// \file
/// The base of the host-facing contract: interface identifiers, status codes and IUnknown.

#include <cstdint>
#include <cstring>

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }

using HRESULT = int32_t;

/// A native window.
struct HWND__;
typedef HWND__* HWND;

struct RECT {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

constexpr HRESULT S_OK = 0;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);

/// {00000000-0000-0000-C000-000000000046}
constexpr GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

class IUnknown {
 public:
  virtual HRESULT QueryInterface(const GUID& iid, void** out) = 0;
  virtual uint32_t AddRef() = 0;
  virtual uint32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};
