// The watermark: the native step that hands the page the user's identity, and the script,
// run for real in headless Chromium.

#include "adapt/watermark.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>

#include "base/json.h"
#include "scratch_dir.h"
#include "view_fixture.h"

namespace fs = std::filesystem;

using Watermark = ViewFixture;

TEST_F(Watermark, ThePageGetsTheIdentityTheScriptAndTheDragRegion) {
  const std::string init =
      R"({"url":"https://a.test/","showWatermark":1,"showWatermarkPhone":0,"name":"Ann",)"
      R"("mobile":"13800001234","email":7,"sectorname":"R&D","watermark_modes":["1","3"]})";
  IBrowserView* view = Create(Settings(u"w", 0, init), "https://a.test/");
  const auto scripts = BrowserOf(view)->scripts();
  ASSERT_EQ(scripts.size(), 3u);
  EXPECT_EQ(scripts[0], R"(window.watermarkInfo = {"email":"","mobile":"13800001234","name":"Ann",)"
                        R"("petname":"","sector":"R&D","watermarkRule":["1","3"]})");
  EXPECT_EQ(scripts[1], tnwebui::LoadWatermarkScript());
  EXPECT_EQ(scripts[2],
            "var oDom = document.createElement('div');\t\toDom.className = 'can_drag';\t\t"
            "oDom.style = ' -webkit-app-region: drag';\t\tdocument.body.appendChild(oDom);");
  // Every load runs the step again.
  BrowserOf(view)->LoadUrl("https://a.test/next");
  engine.RunUntilIdle();
  EXPECT_EQ(BrowserOf(view)->scripts().size(), 6u);
  view->Release();
}

TEST_F(Watermark, NoMarkUnlessShowWatermarkIsAPositiveInteger) {
  std::u16string json;
  for (const char* init :
       {R"({"showWatermark":0})", R"({"showWatermark":"1"})", R"({"showWatermark":-2})",
        R"({"showWatermark":true})", R"([1])", "bad"}) {
    EXPECT_FALSE(tnwebui::BuildWatermarkInfo(init, &json)) << init;
  }
  ASSERT_TRUE(tnwebui::BuildWatermarkInfo(R"({"showWatermark":2,"watermark_modes":"1"})", &json));
  EXPECT_EQ(json.find(u"watermarkRule"), std::u16string::npos);  // only an array counts
  IBrowserView* view = Create(Settings(u"w", 0, R"({"showWatermark":"1"})"));
  EXPECT_TRUE(BrowserOf(view)->scripts().empty());
  view->Release();
}

TEST(WatermarkScript, IsTheEmbeddedSource) {
  std::ifstream in(TNWEBUI_WATERMARK_JS);
  const std::string source((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(tnwebui::LoadWatermarkScript(), source);
}

namespace {

const char kChromium[] = "/usr/lib/chromium/chromium";

// Runs headless Chromium with `args` and returns what it printed.
std::string RunChromium(const std::vector<std::string>& args) {
  // A profile of its own, with the browser's temporary files inside it, gone with the run.
  const ScratchDir profile("tnwebui-chromium");
  fs::create_directory(profile.path() + "/tmp");
  std::string command = "TMPDIR=" + profile.path() + "/tmp " + kChromium +
                        " --headless=new --no-sandbox --disable-gpu --no-first-run"
                        " --disable-background-networking --disable-component-update"
                        " --disable-sync --user-data-dir=" +
                        profile.path();
  for (const auto& a : args) command += " " + a;
  command += " 2>/dev/null";
  std::string out;
  if (FILE* p = popen(command.c_str(), "r")) {
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) out.append(buffer, n);
    pclose(p);
  }
  return out;
}

// A page that records what the script draws, sets the identity and runs the script, then
// reports on the mark once its tile has loaded.
std::string Page(const std::string& info) {
  // Like the view, the page runs the script once it has loaded; the page's own scripts stand in
  // its head so that the body holds only its content.
  return R"(<!doctype html><html><head><meta charset="utf-8"><script>
window.__drawn = [];
var fill = CanvasRenderingContext2D.prototype.fillText;
CanvasRenderingContext2D.prototype.fillText = function (t) { window.__drawn.push(t); return fill.apply(this, arguments); };
)" + info +
         R"(
function check(tries) {
  var marks = document.querySelectorAll('div.tavrin-watermark');
  function report(extra) {
    var out = document.createElement('pre');
    out.id = 'report';
    out.textContent = JSON.stringify(Object.assign({marks: marks.length, drawn: window.__drawn}, extra));
    document.documentElement.appendChild(out);
  }
  if (!marks.length) { if (tries > 0) setTimeout(function () { check(tries - 1); }, 50); else report({}); return; }
  var mark = marks[0];
  var url = mark.style.backgroundImage.replace(/^url\("?/, '').replace(/"?\)$/, '');
  var tile = new Image();
  tile.onload = function () {
    var style = getComputedStyle(mark);
    report({last: document.body.lastElementChild === mark, position: style.position,
            repeat: style.backgroundRepeat, width: tile.width, height: tile.height,
            pointer: style.pointerEvents, zIndex: style.zIndex});
  };
  tile.src = url;
}
window.addEventListener('load', function () {
  var script = document.createElement('script');
  script.src = 'watermark.js';
  script.onload = function () { check(40); };
  document.head.appendChild(script);
});
</script></head><body style="margin:0">
<h1 style="font-family:sans-serif">A page with a watermark</h1>
<p style="font-family:sans-serif">Its content stays usable under the mark.</p>
</body></html>)";
}

Json::Value Report(const std::string& dom) {
  std::smatch m;
  static const std::regex pre(R"re(<pre id="report">([^<]*)</pre>)re");
  Json::Value report;
  if (!std::regex_search(dom, m, pre)) return report;
  std::string text = m[1];
  for (auto [from, to] : {std::pair<std::string, std::string>{"&quot;", "\""}, {"&amp;", "&"}}) {
    for (size_t p; (p = text.find(from)) != std::string::npos;) text.replace(p, from.size(), to);
  }
  tnwebui::ParseJson(text, report);
  return report;
}

}  // namespace

TEST(WatermarkInChromium, TheMarkIsATiledLayerOverThePage) {
  if (access(kChromium, X_OK) != 0) {
    GTEST_SKIP() << "Chromium is not installed (scripts/install-deps.sh installs it): "
                    "the watermark script was not run in a browser";
  }
  const ScratchDir scratch("tnwebui-watermark");
  const fs::path dir = scratch.path();
  fs::copy_file(TNWEBUI_WATERMARK_JS, dir / "watermark.js", fs::copy_options::overwrite_existing);
  auto write = [&](const char* name, const std::string& info) {
    std::ofstream(dir / name) << Page(info);
    return "file://" + (dir / name).string();
  };
  const std::string budget = "--virtual-time-budget=5000";

  // Rule "1": the name and the phone's last four digits on one line.
  const std::string tail = write(
      "tail.html",
      R"(window.watermarkInfo = {"name":"Ann Lee","mobile":"13800001234","watermarkRule":["1"]};)");
  Json::Value r = Report(RunChromium({budget, "--dump-dom", tail}));
  ASSERT_TRUE(r.isObject()) << "no report from the page";
  EXPECT_EQ(r["marks"].asInt(), 1);
  EXPECT_TRUE(r["last"].asBool());
  EXPECT_EQ(r["position"].asString(), "fixed");
  EXPECT_EQ(r["repeat"].asString(), "repeat");
  EXPECT_EQ(r["pointer"].asString(), "none");
  EXPECT_EQ(r["zIndex"].asString(), "auto");  // the script's zIndex has no effect
  EXPECT_EQ(r["width"].asInt(), 300);
  EXPECT_EQ(r["height"].asInt(), 150);
  ASSERT_EQ(r["drawn"].size(), 1u);
  EXPECT_EQ(r["drawn"][0].asString(), "Ann Lee 1234");

  // The default rules: the first non-empty of mobile, petname, email, sector under the name.
  const std::string fallback = write(
      "default.html",
      R"(window.watermarkInfo = {"name":"Ann","mobile":"","petname":"","email":"ann@x.test"};)");
  r = Report(RunChromium({budget, "--dump-dom", fallback}));
  ASSERT_EQ(r["drawn"].size(), 2u);
  EXPECT_EQ(r["drawn"][0].asString(), "Ann");
  EXPECT_EQ(r["drawn"][1].asString(), "ann@x.test");

  // No identity: nothing is added.
  const std::string none = write("none.html", "");
  r = Report(RunChromium({budget, "--dump-dom", none}));
  EXPECT_EQ(r["marks"].asInt(), 0);

  // A picture for a person to look at.
  const std::string shot = (fs::path(TNWEBUI_BUILD_DIR) / "watermark-screenshot.png").string();
  RunChromium({budget, "--window-size=800,600", "--screenshot=" + shot, tail});
  EXPECT_TRUE(fs::exists(shot));
}
