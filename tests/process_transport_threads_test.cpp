// Process messages between two processes: the wire form keeps every element exactly, the
// socket transport delivers both ways on each side's runner, and within one process a message
// moves with its texts shared.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <thread>

#include "hav/inproc_engine.h"
#include "tnbase/tn_string.h"

using namespace xhav::inproc;

namespace {

CefRefPtr<CefProcessMessage> Sample() {
  auto m =
      CefProcessMessage::Create(CefString(std::u16string(u"push_notify\xD800")));  // lone surrogate
  auto args = m->GetArgumentList();
  args->SetString(0, CefString(std::u16string(u"Grüße \U0001F600")));
  args->SetInt(1, -2147483647 - 1);
  args->SetDouble(2, 0.1);
  args->SetBool(3, true);
  args->SetNull(4);
  const std::string bytes("a\0b\xff", 4);
  args->SetBinary(5, CefBinaryValue::Create(bytes.data(), bytes.size()));
  auto nested = CefListValue::Create();
  nested->SetString(0, std::string("id"));
  nested->SetList(1, CefListValue::Create());
  args->SetList(6, nested);
  args->SetString(7, std::string());
  return m;
}

void ExpectSame(const CefListValue& a, const CefListValue& b) {
  ASSERT_EQ(a.GetSize(), b.GetSize());
  for (size_t i = 0; i < a.GetSize(); ++i) {
    ASSERT_EQ(a.GetType(i), b.GetType(i)) << i;
    switch (a.GetType(i)) {
      case VTYPE_STRING:
        EXPECT_EQ(a.GetString(i), b.GetString(i));
        break;
      case VTYPE_INT:
        EXPECT_EQ(a.GetInt(i), b.GetInt(i));
        break;
      case VTYPE_DOUBLE:
        EXPECT_EQ(a.GetDouble(i), b.GetDouble(i));
        break;
      case VTYPE_BOOL:
        EXPECT_EQ(a.GetBool(i), b.GetBool(i));
        break;
      case VTYPE_BINARY:
        EXPECT_EQ(std::string(static_cast<const char*>(a.GetBinary(i)->GetRawData()),
                              a.GetBinary(i)->GetSize()),
                  std::string(static_cast<const char*>(b.GetBinary(i)->GetRawData()),
                              b.GetBinary(i)->GetSize()));
        break;
      case VTYPE_LIST:
        ExpectSame(*a.GetList(i), *b.GetList(i));
        break;
      default:
        break;
    }
  }
}

// The two sides' task runners, each with a thread of its own; the transports of a test end
// before them.
class SocketTransport : public ::testing::Test {
 protected:
  SocketTransport() {
    browserRunner.StartThread();
    renderRunner.StartThread();
  }
  ~SocketTransport() override {
    browserRunner.Stop();
    renderRunner.Stop();
  }
  cef_inproc::TaskRunner browserRunner{"browser"}, renderRunner{"render"};
};

}  // namespace

TEST(WireForm, EveryElementTypeRoundTrips) {
  auto m = Sample();
  const std::string bytes = EncodeProcessMessage(PID_RENDERER, 42, m);
  CefProcessId target;
  int id = 0;
  CefRefPtr<CefProcessMessage> back;
  ASSERT_TRUE(DecodeProcessMessage(bytes, &target, &id, &back));
  EXPECT_EQ(target, PID_RENDERER);
  EXPECT_EQ(id, 42);
  EXPECT_EQ(back->GetName(), m->GetName());
  ExpectSame(*m->GetArgumentList(), *back->GetArgumentList());
}

TEST(WireForm, TruncatedOrGarbledBytesAreRefused) {
  const std::string bytes = EncodeProcessMessage(PID_BROWSER, 1, Sample());
  CefProcessId target;
  int id = 0;
  CefRefPtr<CefProcessMessage> back;
  for (size_t cut = 0; cut < bytes.size(); cut += 7) {
    EXPECT_FALSE(DecodeProcessMessage(bytes.substr(0, cut), &target, &id, &back)) << cut;
  }
  EXPECT_FALSE(DecodeProcessMessage(bytes + "x", &target, &id, &back));
  std::string huge = bytes.substr(0, 10) + std::string("\xff\xff\xff\x7f", 4);
  EXPECT_FALSE(DecodeProcessMessage(huge, &target, &id, &back));
}

TEST_F(SocketTransport, CarriesMessagesAndControlBothWays) {
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  std::atomic<int> closed{0};
  auto browserSide = CreateSocketTransport(fds[0], PID_BROWSER, &browserRunner, [&] { ++closed; });
  auto renderSide = CreateSocketTransport(fds[1], PID_RENDERER, &renderRunner, [&] { ++closed; });

  std::vector<CefRefPtr<CefProcessMessage>> atRender, atBrowser;
  std::atomic<int> arrived{0};
  std::vector<Control> controls;
  renderSide->SetReceiver(PID_RENDERER, [&](int id, CefRefPtr<CefProcessMessage> m) {
    EXPECT_TRUE(renderRunner.RunsTasksOnCurrentThread());
    EXPECT_EQ(id, 5);
    atRender.push_back(m);
    ++arrived;
  });
  renderSide->SetControlReceiver([&](const Control& c) { controls.push_back(c); });
  browserSide->SetReceiver(PID_BROWSER, [&](int, CefRefPtr<CefProcessMessage> m) {
    atBrowser.push_back(m);
    ++arrived;
  });

  browserSide->SendControl({Control::kOpenPage, 5, "file://tavrin5main/index.html"});
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(browserSide->Send(PID_RENDERER, 5, Sample()));
  EXPECT_FALSE(browserSide->Send(PID_BROWSER, 5, Sample()));  // not to its own side
  std::thread sender([&] {
    for (int i = 0; i < 50; ++i)
      renderSide->Send(PID_BROWSER, 5, CefProcessMessage::Create("minwnd"));
  });
  sender.join();
  // Wait until both sides have everything.
  for (int spin = 0; spin < 2000 && arrived < 100; ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  browserRunner.Flush();
  renderRunner.Flush();
  ASSERT_EQ(controls.size(), 1u);
  EXPECT_EQ(controls[0].text, "file://tavrin5main/index.html");
  ASSERT_EQ(atRender.size(), 50u);
  ExpectSame(*Sample()->GetArgumentList(), *atRender[49]->GetArgumentList());
  EXPECT_EQ(atBrowser.size(), 50u);

  browserSide.reset();  // the other process sees the end of the stream
  for (int spin = 0; spin < 2000 && closed < 2; ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(closed.load(), 2);
  renderSide.reset();
}

TEST_F(SocketTransport, LargeMessagesAmongSmallOnesArriveWholeAndInOrder) {
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  auto browserSide = CreateSocketTransport(fds[0], PID_BROWSER, &browserRunner, nullptr);
  auto renderSide = CreateSocketTransport(fds[1], PID_RENDERER, &renderRunner, nullptr);
  std::vector<std::string> arrived;
  std::atomic<int> count{0};
  renderSide->SetReceiver(PID_RENDERER, [&](int, CefRefPtr<CefProcessMessage> m) {
    arrived.push_back(m->GetArgumentList()->GetString(0).ToString());
    ++count;
  });
  // Sizes around the reader's pieces: many small, then ones that span and outgrow its buffer.
  std::vector<std::string> sent;
  for (std::size_t size : {1u, 70000u, 5u, 300000u, 0u, 65530u, 3u}) {
    sent.push_back(std::string(size, static_cast<char>('a' + sent.size())));
    auto m = CefProcessMessage::Create("push_notify");
    m->GetArgumentList()->SetString(0, sent.back());
    ASSERT_TRUE(browserSide->Send(PID_RENDERER, 1, m));
  }
  for (int spin = 0; spin < 5000 && count < static_cast<int>(sent.size()); ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  renderRunner.Flush();
  EXPECT_EQ(arrived, sent);

  // A frame that claims more than any message may be ends the link.
  std::atomic<bool> closed{false};
  int raw[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, raw), 0);
  auto reader = CreateSocketTransport(raw[1], PID_RENDERER, &renderRunner, [&] { closed = true; });
  const uint32_t huge = 0xFFFFFFFFu;
  ASSERT_EQ(::send(raw[0], &huge, 4, 0), 4);
  for (int spin = 0; spin < 5000 && !closed; ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(closed);
  reader.reset();
  ::close(raw[0]);
  browserSide.reset();
  renderSide.reset();
}

TEST_F(SocketTransport, WithoutARunnerTheReaderHandsFramesOverOnceItsReceiverIsSet) {
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  std::atomic<bool> closed{false};
  auto browserSide = CreateSocketTransport(fds[0], PID_BROWSER, nullptr, [&] { closed = true; });
  auto renderSide = CreateSocketTransport(fds[1], PID_RENDERER, &renderRunner, nullptr);
  // Sent before the browser side has its receivers: they wait, in order.
  renderSide->SendControl({Control::kOpenPage, 3, "first"});
  for (int i = 0; i < 20; ++i) {
    auto m = CefProcessMessage::Create("minwnd");
    m->GetArgumentList()->SetInt(0, i);
    ASSERT_TRUE(renderSide->Send(PID_BROWSER, 3, m));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::mutex mutex;
  std::vector<std::string> seen;
  const std::thread::id main = std::this_thread::get_id();
  std::atomic<bool> offMain{true};
  browserSide->SetControlReceiver([&](const Control& c) {
    offMain = offMain && std::this_thread::get_id() != main;
    std::lock_guard<std::mutex> lock(mutex);
    seen.push_back(c.text);
  });
  browserSide->SetReceiver(PID_BROWSER, [&](int, CefRefPtr<CefProcessMessage> m) {
    offMain = offMain && std::this_thread::get_id() != main;
    std::lock_guard<std::mutex> lock(mutex);
    seen.push_back(std::to_string(m->GetArgumentList()->GetInt(0)));
  });
  for (int spin = 0; spin < 5000; ++spin) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      if (seen.size() == 21u) break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  {
    std::lock_guard<std::mutex> lock(mutex);
    ASSERT_EQ(seen.size(), 21u);
    EXPECT_EQ(seen.front(), "first");
    EXPECT_EQ(seen.back(), "19");
  }
  EXPECT_TRUE(offMain);
  renderSide.reset();
  for (int spin = 0; spin < 5000 && !closed; ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(closed);
  // A transport that closes while its reader waits for a receiver ends without one.
  int raw[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, raw), 0);
  auto waiting = CreateSocketTransport(raw[1], PID_BROWSER, nullptr, nullptr);
  auto sender = CreateSocketTransport(raw[0], PID_RENDERER, &renderRunner, nullptr);
  sender->SendControl({Control::kClosePage, 1, ""});
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  waiting.reset();
  sender.reset();
  browserSide.reset();
}

// Within one process a sent message moves: the receiver gets its elements with their texts
// shared, not copied, and the sender's message is spent. A nested list the sender still holds
// stays the sender's: the receiver's is its own.
TEST_F(SocketTransport, TheQueueMovesASentMessageAndKeepsWhatTheSenderStillHolds) {
  auto queue = CreateQueueTransport(&browserRunner, &renderRunner);
  CefRefPtr<CefProcessMessage> received;
  std::atomic<bool> arrived{false};
  queue->SetReceiver(PID_RENDERER, [&](int, CefRefPtr<CefProcessMessage> m) {
    received = m;
    arrived = true;
  });
  CefRefPtr<CefProcessMessage> m = Sample();
  CefRefPtr<CefListValue> args = m->GetArgumentList();
  const CefString text = args->GetString(0);
  CefRefPtr<CefListValue> nested = args->GetList(6);
  ASSERT_TRUE(queue->Send(PID_RENDERER, 1, m));
  nested->SetString(0, std::string("changed after sending"));
  for (int spin = 0; spin < 5000 && !arrived; ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  renderRunner.Flush();
  ASSERT_TRUE(received);
  ExpectSame(*Sample()->GetArgumentList(), *received->GetArgumentList());
  EXPECT_TRUE(received->GetArgumentList()->GetString(0).text().SharesWith(text.text()));
  EXPECT_EQ(received->GetName(), Sample()->GetName());
  EXPECT_FALSE(m->IsValid());
  EXPECT_EQ(args->GetSize(), 0u);
  EXPECT_TRUE(received->IsValid());
  // Sent twice, a message would arrive empty: the second send is refused, on either transport.
  EXPECT_FALSE(queue->Send(PID_RENDERER, 1, m));
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  auto socket = CreateSocketTransport(fds[0], PID_BROWSER, &browserRunner, nullptr);
  CefRefPtr<CefProcessMessage> other = Sample();
  EXPECT_TRUE(socket->Send(PID_RENDERER, 1, other));
  EXPECT_FALSE(other->IsValid());
  EXPECT_FALSE(socket->Send(PID_RENDERER, 1, other));
  socket.reset();
  ::close(fds[1]);
}

// Copies of a text share it, on any thread; a TnString made from one, trimmed or cloned, never
// changes the others.
TEST(SharedText, CopiesShareOneTextAcrossThreadsAndStayUnchanged) {
  const CefString line(std::string("Grüße, line\r\n"));
  std::vector<std::thread> threads;
  std::atomic<int> same{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        CefString copy = line;
        tnbase::TnStringPtr s(allocStringFromText(copy.text()));
        tnbase::TnStringPtr clone(s->Clone());
        clone->TrimLineEnd();
        if (copy.text().SharesWith(line.text()) && s->GetLength() == 13 &&
            clone->GetLength() == 11) {
          ++same;
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(same, 8000);
  EXPECT_EQ(line.ToString(), "Grüße, line\r\n");
  EXPECT_EQ(line.c_str()[line.length()], u'\0');

  // The empty text allocates nothing and still reads as a NUL-terminated text; invalid UTF-8
  // is replaced, never dropped.
  EXPECT_STREQ(reinterpret_cast<const char*>(CefString().c_str()), "");
  EXPECT_EQ(CefString(std::string("a\xff")).ToString16(), u"a\xFFFD");
  EXPECT_EQ(CefString(std::string("ab")), CefString(u"ab"));
  EXPECT_LT(CefString(u"ab"), CefString(u"b"));
}
