// Process messages between two processes over a stream socket. A frame is a 32-bit length and
// then: a kind byte, the browser's identifier, and for a message its target, its name and its
// argument list with every element typed (UTF-16 texts stay UTF-16, so any text crosses as it
// is); for a control frame its address.

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <thread>
#include <vector>

#include "hav/inproc_engine.h"
#include "tnbase/task_queue.h"

namespace xhav::inproc {

namespace {

constexpr uint8_t kFrameMessage = 0;
constexpr uint32_t kMaxFrame = 256u << 20;
constexpr int kMaxDepth = 64;

class Writer {
 public:
  void U8(uint8_t v) { out_.push_back(static_cast<char>(v)); }
  void U32(uint32_t v) { Raw(&v, 4); }
  void I32(int32_t v) { Raw(&v, 4); }
  void F64(double v) { Raw(&v, 8); }
  void Bytes(const void* data, std::size_t size) {
    U32(static_cast<uint32_t>(size));
    Raw(data, size);
  }
  void Text16(const CefString& s) {
    U32(static_cast<uint32_t>(s.length()));
    Raw(s.c_str(), s.length() * 2);
  }
  void List(const CefListValue& list) {
    U32(static_cast<uint32_t>(list.GetSize()));
    for (std::size_t i = 0; i < list.GetSize(); ++i) {
      const CefValueType type = list.GetType(i);
      U8(static_cast<uint8_t>(type));
      switch (type) {
        case VTYPE_BOOL:
          U8(list.GetBool(i));
          break;
        case VTYPE_INT:
          I32(list.GetInt(i));
          break;
        case VTYPE_DOUBLE:
          F64(list.GetDouble(i));
          break;
        case VTYPE_STRING:
          Text16(list.GetString(i));
          break;
        case VTYPE_BINARY: {
          auto binary = list.GetBinary(i);
          Bytes(binary->GetRawData(), binary->GetSize());
          break;
        }
        case VTYPE_LIST:
          List(*list.GetList(i));
          break;
        default:
          break;
      }
    }
  }
  std::string& out() { return out_; }

 private:
  void Raw(const void* data, std::size_t size) {
    out_.append(static_cast<const char*>(data), size);
  }
  std::string out_;
};

class Reader {
 public:
  explicit Reader(const std::string& in) : p_(in.data()), end_(in.data() + in.size()) {}
  bool ok() const { return ok_; }
  bool done() const { return p_ == end_; }
  uint8_t U8() {
    uint8_t v = 0;
    Raw(&v, 1);
    return v;
  }
  uint32_t U32() {
    uint32_t v = 0;
    Raw(&v, 4);
    return v;
  }
  int32_t I32() {
    int32_t v = 0;
    Raw(&v, 4);
    return v;
  }
  double F64() {
    double v = 0;
    Raw(&v, 8);
    return v;
  }
  std::string Bytes() {
    const uint32_t n = U32();
    if (!Has(n)) return {};
    std::string s(p_, n);
    p_ += n;
    return s;
  }
  CefString Text16() {
    const uint32_t n = U32();
    if (!Has(static_cast<std::size_t>(n) * 2)) return {};
    std::u16string s(n, u'\0');
    std::memcpy(s.data(), p_, static_cast<std::size_t>(n) * 2);
    p_ += static_cast<std::size_t>(n) * 2;
    return CefString(std::move(s));
  }
  CefRefPtr<CefListValue> List(int depth) {
    CefRefPtr<CefListValue> list = CefListValue::Create();
    const uint32_t count = U32();
    if (depth > kMaxDepth || !Has(count)) {  // every element takes at least its type byte
      ok_ = false;
      return list;
    }
    for (uint32_t i = 0; ok_ && i < count; ++i) {
      switch (U8()) {
        case VTYPE_NULL:
          list->SetNull(i);
          break;
        case VTYPE_BOOL:
          list->SetBool(i, U8() != 0);
          break;
        case VTYPE_INT:
          list->SetInt(i, I32());
          break;
        case VTYPE_DOUBLE:
          list->SetDouble(i, F64());
          break;
        case VTYPE_STRING:
          list->SetString(i, Text16());
          break;
        case VTYPE_BINARY: {
          const std::string bytes = Bytes();
          list->SetBinary(i, CefBinaryValue::Create(bytes.data(), bytes.size()));
          break;
        }
        case VTYPE_LIST:
          list->SetList(i, List(depth + 1));
          break;
        default:
          ok_ = false;
          break;
      }
    }
    return list;
  }

 private:
  bool Has(std::size_t n) {
    if (static_cast<std::size_t>(end_ - p_) < n) ok_ = false;
    return ok_;
  }
  void Raw(void* out, std::size_t n) {
    if (!Has(n)) return;
    std::memcpy(out, p_, n);
    p_ += n;
  }
  const char* p_;
  const char* end_;
  bool ok_ = true;
};

bool WriteAll(int fd, const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

// The frames of a stream, read in large pieces: a burst of messages (an event to many pages)
// costs a few reads, not two a message.
class FrameReader {
 public:
  explicit FrameReader(int fd) : fd_(fd), buffer_(kPiece) {}

  // The next frame's payload; false at the stream's end, on an error or an oversized frame.
  bool Next(std::string* payload) {
    uint32_t size = 0;
    if (!Fill(4)) return false;
    std::memcpy(&size, buffer_.data() + at_, 4);
    if (size > kMaxFrame || !Fill(4 + static_cast<std::size_t>(size))) return false;
    payload->assign(buffer_.data() + at_ + 4, size);
    at_ += 4 + static_cast<std::size_t>(size);
    if (buffer_.size() > kPiece && at_ == end_) {  // a large frame's room goes back
      at_ = end_ = 0;
      buffer_.resize(kPiece);
      buffer_.shrink_to_fit();
    }
    return true;
  }

 private:
  // Until `n` unread bytes are buffered.
  bool Fill(std::size_t n) {
    if (end_ - at_ >= n) return true;
    // The unread bytes move to the front; a frame larger than the buffer grows it.
    std::memmove(buffer_.data(), buffer_.data() + at_, end_ - at_);
    end_ -= at_;
    at_ = 0;
    if (buffer_.size() < n) buffer_.resize(n);
    while (end_ < n) {
      const ssize_t got = ::recv(fd_, buffer_.data() + end_, buffer_.size() - end_, 0);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      end_ += static_cast<std::size_t>(got);
    }
    return true;
  }

  static constexpr std::size_t kPiece = 64 << 10;
  const int fd_;
  std::vector<char> buffer_;
  std::size_t at_ = 0, end_ = 0;  // the unread bytes
};

std::string Frame(const std::string& payload) {
  std::string frame(4, '\0');
  const uint32_t size = static_cast<uint32_t>(payload.size());
  std::memcpy(frame.data(), &size, 4);
  return frame + payload;
}

class SocketTransport final : public Transport {
 public:
  SocketTransport(int fd, CefProcessId local, cef_inproc::TaskRunner* runner,
                  std::function<void()> onClosed)
      : fd_(fd), local_(local), runner_(runner), onClosed_(std::move(onClosed)) {
    reader_ = std::thread(&SocketTransport::ReadLoop, this);
  }
  ~SocketTransport() override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      closing_ = true;
    }
    receiverSet_.notify_all();
    ::shutdown(fd_, SHUT_RDWR);
    if (reader_.joinable()) reader_.join();
    ::close(fd_);
  }

  void SetReceiver(CefProcessId side, Receiver receiver) override {
    if (side != local_) return;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      receiver_ = std::move(receiver);
    }
    receiverSet_.notify_all();
  }
  void SetControlReceiver(ControlReceiver receiver) override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      controlReceiver_ = std::move(receiver);
    }
    receiverSet_.notify_all();
  }

  bool Send(CefProcessId target, int browserId, CefRefPtr<CefProcessMessage> message) override {
    // A spent message (sent before) is refused; sending spends this one, as every send does.
    if (!message || !message->IsValid() || target == local_) return false;
    return Write(Frame(EncodeProcessMessage(target, browserId, message->Transfer())));
  }

  void SendControl(const Control& control) override {
    Writer w;
    w.U8(control.kind);
    w.I32(control.browserId);
    w.Bytes(control.text.data(), control.text.size());
    Write(Frame(w.out()));
  }

 private:
  bool Write(const std::string& frame) {
    std::lock_guard<std::mutex> lock(writeMutex_);
    return WriteAll(fd_, frame);
  }

  void ReadLoop() {
    pthread_setname_np(pthread_self(), "process-link");
    tnbase::RaiseToDisplayPriority();  // an IO thread that pages' calls wait on
    FrameReader frames(fd_);
    std::string payload;
    while (frames.Next(&payload)) {
      if (!payload.empty() && static_cast<uint8_t>(payload[0]) != kFrameMessage) {
        Reader r(payload);
        Control control;
        control.kind = static_cast<Control::Kind>(r.U8());
        control.browserId = r.I32();
        control.text = r.Bytes();
        if (!r.ok()) break;
        HandOver(&controlReceiver_, control);
        continue;
      }
      CefProcessId target;
      int browserId = 0;
      CefRefPtr<CefProcessMessage> message;
      if (!DecodeProcessMessage(payload, &target, &browserId, &message) || target != local_) break;
      HandOver(&receiver_, browserId, message);
    }
    if (onClosed_) onClosed_();
  }

  // Calls the receiver in `slot` with `args` on the runner; without a runner, on the reader's
  // thread, the first frames waiting until their receiver is set (or the transport closes).
  template <typename Function, typename... Args>
  void HandOver(const Function* slot, Args... args) {
    if (!runner_) {
      Function receiver;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        receiverSet_.wait(lock, [&] { return *slot || closing_; });
        receiver = *slot;
      }
      if (receiver) receiver(args...);
      return;
    }
    runner_->PostTask([this, slot, args...] {
      Function receiver;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        receiver = *slot;
      }
      if (receiver) receiver(args...);
    });
  }

  const int fd_;
  const CefProcessId local_;
  cef_inproc::TaskRunner* runner_;
  std::function<void()> onClosed_;
  std::mutex mutex_;
  std::mutex writeMutex_;
  std::condition_variable receiverSet_;
  bool closing_ = false;
  Receiver receiver_;
  ControlReceiver controlReceiver_;
  std::thread reader_;
};

}  // namespace

std::string EncodeProcessMessage(CefProcessId target, int browserId,
                                 CefRefPtr<CefProcessMessage> message) {
  Writer w;
  w.U8(kFrameMessage);
  w.I32(browserId);
  w.U8(static_cast<uint8_t>(target));
  w.Text16(message->GetName());
  w.List(*message->GetArgumentList());
  return std::move(w.out());
}

bool DecodeProcessMessage(const std::string& bytes, CefProcessId* target, int* browserId,
                          CefRefPtr<CefProcessMessage>* message) {
  Reader r(bytes);
  if (r.U8() != kFrameMessage) return false;
  const int id = r.I32();
  const uint8_t side = r.U8();
  const CefString name = r.Text16();
  CefRefPtr<CefListValue> list = r.List(0);
  if (!r.ok() || !r.done() || side > PID_RENDERER) return false;
  CefRefPtr<CefProcessMessage> m = CefProcessMessage::Create(name);
  CefRefPtr<CefListValue> args = m->GetArgumentList();
  for (std::size_t i = 0; i < list->GetSize(); ++i) {
    switch (list->GetType(i)) {
      case VTYPE_BOOL:
        args->SetBool(i, list->GetBool(i));
        break;
      case VTYPE_INT:
        args->SetInt(i, list->GetInt(i));
        break;
      case VTYPE_DOUBLE:
        args->SetDouble(i, list->GetDouble(i));
        break;
      case VTYPE_STRING:
        args->SetString(i, list->GetString(i));
        break;
      case VTYPE_BINARY:
        args->SetBinary(i, list->GetBinary(i));
        break;
      case VTYPE_LIST:
        args->SetList(i, list->GetList(i));
        break;
      default:
        args->SetNull(i);
        break;
    }
  }
  *target = static_cast<CefProcessId>(side);
  *browserId = id;
  *message = m;
  return true;
}

std::unique_ptr<Transport> CreateSocketTransport(int fd, CefProcessId local,
                                                 cef_inproc::TaskRunner* runner,
                                                 std::function<void()> onClosed) {
  return std::make_unique<SocketTransport>(fd, local, runner, std::move(onClosed));
}

}  // namespace xhav::inproc
