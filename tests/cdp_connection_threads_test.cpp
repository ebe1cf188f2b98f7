// The DevTools connection to Debian's Chromium: commands and answers, events on the runner,
// a message far larger than a pipe's buffer, and no process left behind.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "hav/cdp_connection.h"

namespace {

std::unique_ptr<xhav::cdp::Connection> Launch() {
  std::string error;
  auto connection = xhav::cdp::Connection::Launch({}, &error);
  return connection;
}

bool Alive(pid_t pid) { return kill(pid, 0) == 0 || errno != ESRCH; }

// Opens a page target and attaches to it; returns the session.
std::string OpenPage(xhav::cdp::Connection& c) {
  Json::Value params, result;
  params["url"] = "about:blank";
  if (!c.Call("Target.createTarget", params, "", &result)) return "";
  Json::Value attach;
  attach["targetId"] = result["targetId"];
  attach["flatten"] = true;
  Json::Value session;
  if (!c.Call("Target.attachToTarget", attach, "", &session)) return "";
  return session["sessionId"].asString();
}

}  // namespace

class CdpConnection : public ::testing::Test {
 protected:
  void SetUp() override {
    connection = Launch();
    if (!connection)
      GTEST_SKIP() << "Chromium is not installed (scripts/install-deps.sh installs it)";
  }
  std::unique_ptr<xhav::cdp::Connection> connection;
};

TEST_F(CdpConnection, EvaluatesInAPageAndReportsErrors) {
  const std::string session = OpenPage(*connection);
  ASSERT_FALSE(session.empty());
  Json::Value params, result;
  params["expression"] = "6 * 7";
  params["returnByValue"] = true;
  ASSERT_TRUE(connection->Call("Runtime.evaluate", params, session, &result));
  EXPECT_EQ(result["result"]["value"].asInt(), 42);
  std::string error;
  EXPECT_FALSE(connection->Call("No.such", Json::Value(), "", nullptr, &error));
  EXPECT_FALSE(error.empty());
}

// Commands sent at once run in their order, and the wait ends when the last has its answer; a
// failing one fails the whole.
TEST_F(CdpConnection, CommandsSentAtOnceRunInOrder) {
  const std::string session = OpenPage(*connection);
  ASSERT_FALSE(session.empty());
  std::vector<std::pair<std::string, Json::Value>> steps;
  for (int i = 0; i < 20; ++i) {
    Json::Value params;
    params["expression"] = "window.order = (window.order || '') + '" + std::to_string(i % 10) + "'";
    steps.emplace_back("Runtime.evaluate", params);
  }
  ASSERT_TRUE(connection->CallAll(steps, session));
  Json::Value params, result;
  params["expression"] = "window.order";
  params["returnByValue"] = true;
  ASSERT_TRUE(connection->Call("Runtime.evaluate", params, session, &result));
  EXPECT_EQ(result["result"]["value"].asString(), "01234567890123456789");
  steps.emplace_back("No.such", Json::Value());
  EXPECT_FALSE(connection->CallAll(steps, session));
}

TEST_F(CdpConnection, EventsAndAnswersRunOnTheRunner) {
  tnbase::TaskQueue runner("ui");
  runner.StartThread();
  connection->SetRunner(&runner);
  std::atomic<int> loads{0}, onRunner{0};
  connection->SetEventHandler(
      [&](const std::string& method, const Json::Value&, const std::string&) {
        if (method == "Page.loadEventFired") {
          ++loads;
          onRunner += runner.RunsTasksOnCurrentThread();
        }
      });
  const std::string session = OpenPage(*connection);
  ASSERT_TRUE(connection->Call("Page.enable", Json::Value(), session, nullptr));
  std::atomic<bool> navigated{false};
  Json::Value params;
  params["url"] = "data:text/html,<title>x</title>";
  connection->Send("Page.navigate", params, session,
                   [&](const Json::Value& result, const Json::Value&) {
                     navigated = result.isMember("frameId") && runner.RunsTasksOnCurrentThread();
                   });
  for (int i = 0; i < 1000 && loads == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  runner.Flush();
  EXPECT_TRUE(navigated);
  EXPECT_GE(loads.load(), 1);
  EXPECT_EQ(onRunner.load(), loads.load());
  connection.reset();
  runner.Stop();
}

TEST_F(CdpConnection, AMessageOfManyMegabytesArrivesWhole) {
  const std::string session = OpenPage(*connection);
  Json::Value params, result;
  params["expression"] = "'x'.repeat(20 * 1024 * 1024) + 'end'";
  params["returnByValue"] = true;
  ASSERT_TRUE(connection->Call("Runtime.evaluate", params, session, &result, nullptr, 60000));
  const std::string value = result["result"]["value"].asString();
  EXPECT_EQ(value.size(), 20u * 1024 * 1024 + 3);
  EXPECT_EQ(value.substr(value.size() - 3), "end");
}

TEST_F(CdpConnection, NoChromiumIsLeftBehind) {
  const pid_t pid = connection->pid();
  ASSERT_TRUE(Alive(pid));
  connection.reset();
  EXPECT_FALSE(Alive(pid));
  EXPECT_NE(kill(-pid, 0), 0);  // nor any of its group
}
