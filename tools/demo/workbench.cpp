// Demo part: the light-app workbench. tnwebui-run, the program light-app authors run their
// own apps with, opens the sample app "expenses" with its host file and checks it: every step
// of the app is one timed line, and the check finds no mistake. The faulty sample app's check
// names each of its mistakes and fails, and matches its expected report. The Vue app runs in the
// framed window with a person's steps (back, close), and its config's signature is made.

#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "demo.h"

namespace demo {
namespace {

// Runs tnwebui-run with `args`, prints each of its lines, and gives its exit status.
int RunTool(const std::string& args) {
  const std::string command = std::string("'") + TNWEBUI_RUN + "' " + args + " 2>&1";
  Say("$ tnwebui-run %s", args.c_str());
  std::FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return -1;
  char line[512];
  while (std::fgets(line, sizeof line, pipe)) {
    std::string text(line);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    Say("  %s", text.c_str());
  }
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

void LightAppWorkbench() {
  g_who = "[author] ";
  const std::string examples = std::string(TNWEBUI_SOURCE_DIR) + "/examples";
  const std::string shot = std::string(TNWEBUI_BUILD_DIR) + "/demo-workbench.png";
  Say("== a light-app author checks the sample app \"expenses\" with tnwebui-run");
  const int good = RunTool("--check --screenshot '" + shot + "' --host '" + examples +
                           "/expenses/host.json' '" + examples + "/expenses'");
  Say("  exit status %d: %s", good, good == 0 ? "no mistakes" : "NOT AS EXPECTED");
  Say("== the same check of the sample app with mistakes");
  const int faulty = RunTool("--check --quiet --host '" + examples + "/faulty/host.json' '" +
                             examples + "/faulty'");
  Say("  exit status %d: %s", faulty,
      faulty == 3 ? "the check failed, naming each mistake" : "NOT AS EXPECTED");
  Say("== ... and against its expected report, with a JUnit report for CI");
  const std::string junit = std::string(TNWEBUI_BUILD_DIR) + "/demo-workbench-faulty.xml";
  const int expected = RunTool("--quiet --expect '" + examples + "/faulty/expected-report.txt' " +
                               "--report junit '" + junit + "' --host '" + examples +
                               "/faulty/host.json' '" + examples + "/faulty'");
  Say("  exit status %d: %s", expected,
      expected == 0 ? "the mistakes are the expected ones" : "NOT AS EXPECTED");
  Say("== an app written with Vue from the manual alone, in the client's framed window: a");
  Say("   person attaches a receipt, reviews, presses the bar's back button and closes");
  const std::string claims = std::string(TNWEBUI_BUILD_DIR) + "/demo-workbench-claims.png";
  const int vue =
      RunTool("--check --framed --script '" + examples + "/claims/steps.txt' --host '" + examples +
              "/claims/host.json' --screenshot '" + claims + "' '" + examples + "/claims'");
  Say("  exit status %d: %s", vue, vue == 0 ? "no mistakes" : "NOT AS EXPECTED");
  Say("== the signature the app's config carries, as its server makes it");
  const int signature = RunTool("sign --host '" + examples +
                                "/claims/host.json' 7-12 claims-1 1767225600 "
                                "https://tavrin5.frames.invalid/lightapp/index.html");
  if (good != 0 || faulty != 3 || expected != 0 || vue != 0 || signature != 0)
    Fail("tnwebui-run did not judge the sample apps as expected");
}

}  // namespace demo
