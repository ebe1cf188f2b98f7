#include "arg_list.h"

namespace xhav::inproc {

namespace {

class BinaryImpl final : public Binary {
 public:
  explicit BinaryImpl(CefRefPtr<CefBinaryValue> value) : value_(value) {}
  std::size_t GetSize() const override { return value_->GetSize(); }
  const void* GetData() const override { return value_->GetRawData(); }
  void Release() override { delete this; }

 private:
  ~BinaryImpl() override = default;
  CefRefPtr<CefBinaryValue> value_;
};

}  // namespace

ListArgs::ListArgs(CefRefPtr<CefListValue> list) : list_(list ? list : CefListValue::Create()) {
  // Slots for nested lists only when there are some: most messages hold texts alone.
  for (std::size_t i = 0; i < list_->GetSize(); ++i) {
    if (list_->GetType(i) != VTYPE_LIST) continue;
    if (nested_.empty()) nested_.resize(list_->GetSize());
    nested_[i] = std::make_unique<ListArgs>(list_->GetList(i));
  }
}

std::size_t ListArgs::GetCount() const { return list_->GetSize(); }

int ListArgs::GetInt(std::size_t index) const { return list_->GetInt(index); }

TnString* ListArgs::GetString(std::size_t index) const {
  // The element's text is shared with the message, not copied.
  return allocStringFromText(list_->GetString(index).text());
}

const ArgList* ListArgs::GetList(std::size_t index) const {
  return index < nested_.size() ? nested_[index].get() : nullptr;
}

Binary* ListArgs::GetBinary(std::size_t index) const {
  CefRefPtr<CefBinaryValue> value = list_->GetBinary(index);
  return value ? new BinaryImpl(value) : nullptr;
}

void DeliverToView(BrowserNotify* notify, CefRefPtr<CefBrowser> host,
                   CefRefPtr<CefProcessMessage> message) {
  if (!notify || !message) return;
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  bool command = args->GetSize() == 0 || args->GetSize() == 5;
  for (std::size_t i = 0; command && i < args->GetSize(); ++i) {
    command = args->GetType(i) == VTYPE_STRING;
  }
  const CefString name = message->GetName();
  tnbase::TnStringPtr text(allocStringFromText(name.text()));
  if (command) {
    ListArgs list(args);
    bool result = false;
    notify->OnRenderCommand(host, &result, text.get(), &list);
  } else {
    notify->OnProcessMessage(text.get(), message);
  }
}

}  // namespace xhav::inproc
