#include <algorithm>

#include "hav/handler_table.h"

namespace xhav {
namespace {

class Element final : public PostElement {
 public:
  explicit Element(const std::string& bytes) : bytes_(bytes) {}
  std::size_t GetBytesCount() const override { return bytes_.size(); }
  const void* GetBytes() const override { return bytes_.data(); }

 private:
  const std::string& bytes_;
};

class Elements final : public PostElements {
 public:
  explicit Elements(const std::vector<std::string>* body) {
    if (!body) return;
    for (const std::string& bytes : *body) elements_.emplace_back(bytes);
  }
  std::size_t GetCount() const override { return elements_.size(); }
  const PostElement* GetElement(std::size_t index) const override {
    return index < elements_.size() ? &elements_[index] : nullptr;
  }

 private:
  std::vector<Element> elements_;
};

class RequestImpl final : public Request {
 public:
  RequestImpl(std::string path, const std::vector<std::string>* body)
      : path_(std::move(path)), elements_(body), hasBody_(body != nullptr) {}
  TnString* GetPath() override {
    return allocStringFromUTF8(path_.data(), static_cast<int32_t>(path_.size()));
  }
  const PostElements* GetPostElements() override { return hasBody_ ? &elements_ : nullptr; }
  void Write(const void* data, std::size_t length) override {
    writes.emplace_back(static_cast<const char*>(data), length);
  }
  std::vector<std::string> writes;

 private:
  const std::string path_;
  const Elements elements_;
  const bool hasBody_;
};

}  // namespace

void HandlerTable::Add(const char* address, HandlerCreator* creator) {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.emplace_back(address ? address : "", creator);
}

void HandlerTable::Remove(const char* address) {
  const std::string a = address ? address : "";
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                [&](const auto& entry) { return entry.first == a; }),
                 entries_.end());
}

HandlerCreator* HandlerTable::Find(const std::string& address, std::size_t* matched) const {
  const std::string wanted = WithoutQuery(address);
  HandlerCreator* best = nullptr;
  std::size_t length = 0;
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [registered, creator] : entries_) {
    if (registered.empty() || wanted.compare(0, registered.size(), registered) != 0) continue;
    if (registered.size() >= length) {
      best = creator;
      length = registered.size();
    }
  }
  if (matched) *matched = length;
  return best;
}

std::vector<std::pair<std::string, HandlerCreator*>> HandlerTable::entries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return entries_;
}

HandlerCreator* FindServing(const HandlerTable* browser, const HandlerTable& registry,
                            const std::string& address) {
  std::size_t own = 0, shared = 0;
  HandlerCreator* mine = browser ? browser->Find(address, &own) : nullptr;
  HandlerCreator* theirs = registry.Find(address, &shared);
  if (mine && (!theirs || own >= shared)) return mine;
  return theirs;
}

std::string WithoutQuery(const std::string& address) {
  return address.substr(0, address.find_first_of("?#"));
}

std::string HostOf(const std::string& address) {
  const auto scheme = address.find("://");
  if (scheme == std::string::npos) return std::string();
  const auto start = scheme + 3;
  const auto end = address.find_first_of(":/?#", start);
  return address.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

std::string PathOf(const std::string& address) {
  const std::string bare = WithoutQuery(address);
  const auto scheme = bare.find("://");
  const auto slash = bare.find('/', scheme == std::string::npos ? 0 : scheme + 3);
  return slash == std::string::npos ? "/" : bare.substr(slash);
}

ServedRequest ServeRequest(HandlerCreator* creator, const std::string& address,
                           const std::vector<std::string>* body) {
  ServedRequest served;
  if (!creator) return served;
  served.served = true;
  std::shared_ptr<CustomizeHandler> handler = creator->CreateHandler();
  if (!handler) return served;
  RequestImpl request(PathOf(address), body);
  handler->OnRequest(&request);
  handler->OnFinish();
  served.writes = std::move(request.writes);
  return served;
}

}  // namespace xhav
