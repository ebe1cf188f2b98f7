#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "cef/cef_base.h"
#include "cef/cef_string.h"

enum CefValueType {
  VTYPE_INVALID = 0,
  VTYPE_NULL,
  VTYPE_BOOL,
  VTYPE_INT,
  VTYPE_DOUBLE,
  VTYPE_STRING,
  VTYPE_BINARY,
  VTYPE_DICTIONARY,
  VTYPE_LIST,
};

// An immutable block of bytes.
class CEF_API CefBinaryValue : public virtual CefBaseRefCounted {
 public:
  static CefRefPtr<CefBinaryValue> Create(const void* data, std::size_t data_size);

  bool IsValid() const { return true; }
  std::size_t GetSize() const { return bytes_.size(); }
  // Copies up to buffer_size bytes from data_offset; returns how many were copied.
  std::size_t GetData(void* buffer, std::size_t buffer_size, std::size_t data_offset) const;
  // The bytes themselves, valid while the object lives.
  const void* GetRawData() const { return bytes_.data(); }
  CefRefPtr<CefBinaryValue> Copy() const { return Create(bytes_.data(), bytes_.size()); }

 private:
  std::vector<unsigned char> bytes_;
  IMPLEMENT_REFCOUNTING(CefBinaryValue);
};

// An ordered list of typed values. Reading an element as another type gives that type's
// empty value.
class CEF_API CefListValue : public virtual CefBaseRefCounted {
 public:
  static CefRefPtr<CefListValue> Create();

  bool IsValid() const { return true; }
  std::size_t GetSize() const { return items_.size(); }
  bool SetSize(std::size_t size);
  bool Clear();
  CefValueType GetType(std::size_t index) const;

  bool GetBool(std::size_t index) const;
  int GetInt(std::size_t index) const;
  double GetDouble(std::size_t index) const;
  CefString GetString(std::size_t index) const;
  CefRefPtr<CefBinaryValue> GetBinary(std::size_t index) const;
  CefRefPtr<CefListValue> GetList(std::size_t index) const;

  bool SetNull(std::size_t index);
  bool SetBool(std::size_t index, bool value);
  bool SetInt(std::size_t index, int value);
  bool SetDouble(std::size_t index, double value);
  bool SetString(std::size_t index, const CefString& value);
  bool SetString(std::size_t index, CefString&& value);  // takes a temporary's text
  bool SetBinary(std::size_t index, CefRefPtr<CefBinaryValue> value);
  bool SetList(std::size_t index, CefRefPtr<CefListValue> value);

  // A deep copy: nested lists are copied, binary blocks and string texts are shared (they are
  // immutable).
  CefRefPtr<CefListValue> Copy() const;

 private:
  struct Item {
    CefValueType type = VTYPE_NULL;
    bool b = false;
    int i = 0;
    double d = 0;
    CefString s;
    CefRefPtr<CefBinaryValue> binary;
    CefRefPtr<CefListValue> list;
  };
  friend class CefProcessMessage;
  Item& Slot(std::size_t index);
  const Item* At(std::size_t index, CefValueType type) const;

  std::vector<Item> items_;
  IMPLEMENT_REFCOUNTING(CefListValue);
};
