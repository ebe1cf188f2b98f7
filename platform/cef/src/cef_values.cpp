#include "cef/cef_values.h"

#include <algorithm>
#include <cstring>

#include "cef/cef_process_message.h"

CefRefPtr<CefBinaryValue> CefBinaryValue::Create(const void* data, std::size_t data_size) {
  CefRefPtr<CefBinaryValue> v = new CefBinaryValue();
  if (data && data_size) {
    const auto* p = static_cast<const unsigned char*>(data);
    v->bytes_.assign(p, p + data_size);
  }
  return v;
}

std::size_t CefBinaryValue::GetData(void* buffer, std::size_t buffer_size,
                                    std::size_t data_offset) const {
  if (!buffer || data_offset >= bytes_.size()) return 0;
  const std::size_t n = std::min(buffer_size, bytes_.size() - data_offset);
  std::memcpy(buffer, bytes_.data() + data_offset, n);
  return n;
}

CefRefPtr<CefListValue> CefListValue::Create() { return new CefListValue(); }

bool CefListValue::SetSize(std::size_t size) {
  items_.resize(size);
  return true;
}

bool CefListValue::Clear() {
  items_.clear();
  return true;
}

CefValueType CefListValue::GetType(std::size_t index) const {
  return index < items_.size() ? items_[index].type : VTYPE_INVALID;
}

CefListValue::Item& CefListValue::Slot(std::size_t index) {
  if (index < items_.size()) {
    items_[index] = Item();
    return items_[index];
  }
  // Lists are filled one element after the other: room for a message's usual few at once.
  if (index >= items_.capacity()) items_.reserve(std::max<std::size_t>(index + 1, 8));
  items_.resize(index + 1);
  return items_[index];
}

const CefListValue::Item* CefListValue::At(std::size_t index, CefValueType type) const {
  if (index >= items_.size() || items_[index].type != type) return nullptr;
  return &items_[index];
}

bool CefListValue::GetBool(std::size_t index) const {
  const Item* it = At(index, VTYPE_BOOL);
  return it && it->b;
}

int CefListValue::GetInt(std::size_t index) const {
  const Item* it = At(index, VTYPE_INT);
  return it ? it->i : 0;
}

double CefListValue::GetDouble(std::size_t index) const {
  const Item* it = At(index, VTYPE_DOUBLE);
  return it ? it->d : 0;
}

CefString CefListValue::GetString(std::size_t index) const {
  const Item* it = At(index, VTYPE_STRING);
  return it ? it->s : CefString();
}

CefRefPtr<CefBinaryValue> CefListValue::GetBinary(std::size_t index) const {
  const Item* it = At(index, VTYPE_BINARY);
  return it ? it->binary : nullptr;
}

CefRefPtr<CefListValue> CefListValue::GetList(std::size_t index) const {
  const Item* it = At(index, VTYPE_LIST);
  return it ? it->list : nullptr;
}

bool CefListValue::SetNull(std::size_t index) {
  Slot(index);
  return true;
}

bool CefListValue::SetBool(std::size_t index, bool value) {
  Item& it = Slot(index);
  it.type = VTYPE_BOOL;
  it.b = value;
  return true;
}

bool CefListValue::SetInt(std::size_t index, int value) {
  Item& it = Slot(index);
  it.type = VTYPE_INT;
  it.i = value;
  return true;
}

bool CefListValue::SetDouble(std::size_t index, double value) {
  Item& it = Slot(index);
  it.type = VTYPE_DOUBLE;
  it.d = value;
  return true;
}

bool CefListValue::SetString(std::size_t index, const CefString& value) {
  Item& it = Slot(index);
  it.type = VTYPE_STRING;
  it.s = value;
  return true;
}

bool CefListValue::SetString(std::size_t index, CefString&& value) {
  Item& it = Slot(index);
  it.type = VTYPE_STRING;
  it.s = std::move(value);
  return true;
}

bool CefListValue::SetBinary(std::size_t index, CefRefPtr<CefBinaryValue> value) {
  if (!value) return false;
  Item& it = Slot(index);
  it.type = VTYPE_BINARY;
  it.binary = value;
  return true;
}

bool CefListValue::SetList(std::size_t index, CefRefPtr<CefListValue> value) {
  if (!value || value.get() == this) return false;
  Item& it = Slot(index);
  it.type = VTYPE_LIST;
  it.list = value;
  return true;
}

CefRefPtr<CefListValue> CefListValue::Copy() const {
  CefRefPtr<CefListValue> copy = Create();
  copy->items_ = items_;
  for (Item& it : copy->items_) {
    if (it.list) it.list = it.list->Copy();
  }
  return copy;
}

CefRefPtr<CefProcessMessage> CefProcessMessage::Create(const CefString& name) {
  CefRefPtr<CefProcessMessage> m = new CefProcessMessage();
  m->name_ = name;
  m->args_ = CefListValue::Create();
  return m;
}

CefRefPtr<CefProcessMessage> CefProcessMessage::Copy() const {
  CefRefPtr<CefProcessMessage> m = new CefProcessMessage();
  m->name_ = name_;
  m->args_ = args_->Copy();
  return m;
}

CefRefPtr<CefProcessMessage> CefProcessMessage::Transfer() {
  CefRefPtr<CefProcessMessage> m = new CefProcessMessage();
  m->name_ = name_;
  m->args_ = CefListValue::Create();
  // The sender's list object (it may still hold it) is left empty, as a sent message's is; a
  // nested list someone else also holds is copied for the receiver.
  m->args_->items_ = std::move(args_->items_);
  args_->items_.clear();
  for (CefListValue::Item& it : m->args_->items_) {
    if (it.list && !it.list->HasOneRef()) it.list = it.list->Copy();
  }
  valid_ = false;
  return m;
}
