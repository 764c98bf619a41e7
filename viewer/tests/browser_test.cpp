// The page in headless Chromium: it loads, starts depth and colour, draws
// frames, turns depth into the point cloud in WebGL, and reports timings.
// Two screenshots stay in the build folder for a person to look at.
#include <png.h>

#include <fstream>
#include <set>

#include "headless_chromium.h"
#include "viewer_fixture.h"

namespace viewer_test {
namespace {

using nlohmann::json;

// Distinct colours in a PNG: a blank or single-colour page has a handful.
size_t distinctColours(const std::vector<uint8_t>& png, uint32_t* width, uint32_t* height) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, png.data(), png.size())) return 0;
  image.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) return 0;
  *width = image.width;
  *height = image.height;
  std::set<uint32_t> colours;
  for (size_t i = 0; i + 2 < pixels.size(); i += 3) {
    colours.insert(uint32_t(pixels[i]) << 16 | uint32_t(pixels[i + 1]) << 8 | pixels[i + 2]);
  }
  return colours.size();
}

void keep(const std::vector<uint8_t>& png, const std::string& name) {
  std::ofstream(std::string(SARVIK_VIEWER_SHOT_DIR) + "/" + name, std::ios::binary)
      .write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
}

class BrowserTest : public ViewerTest {
 protected:
  void SetUp() override {
    if (HeadlessChromium::browserPath().empty()) GTEST_SKIP() << "chromium is not installed";
    ViewerTest::SetUp();
    std::string error;
    ASSERT_TRUE(m_browser.launch(1400, 1500, &error)) << error;
  }

  // Polls a script until `accept` takes its value; the last value.
  json waitFor(const std::string& script, const std::function<bool(const json&)>& accept) {
    json value;
    eventually([&] {
      std::string error;
      value = m_browser.evaluate(script, &error);
      return !value.is_null() && accept(value);
    }, std::chrono::seconds(90));
    return value;
  }

  HeadlessChromium m_browser;
};

const char* kDrawn =
    "(() => { const c = window.viewerState ? viewerState.counters : {};"
    " const n = (k) => c[k] ? c[k].drawn : 0; return {color: n('color'), depth: n('depth'), cloud: n('cloud')}; })()";

TEST_F(BrowserTest, PageShowsDepthColourAndTheCloud) {
  std::string error;
  const std::string url = "http://127.0.0.1:" + std::to_string(m_server->port()) + "/?start=depth,color";
  ASSERT_FALSE(m_browser.call("Page.navigate", {{"url", url}}, &error).is_null()) << error;

  json drawn = waitFor(kDrawn, [](const json& v) { return v["color"] >= 10 && v["depth"] >= 10; });
  ASSERT_GE(drawn["color"].get<int>(), 10) << drawn.dump();
  ASSERT_GE(drawn["depth"].get<int>(), 10) << drawn.dump();

  json size = m_browser.evaluate(
      "(() => { const c = document.getElementById('canvas-depth'); return [c.width, c.height]; })()", &error);
  EXPECT_EQ(size, json({640, 480})) << error;
  // The depth canvas holds the colour bar's colours, not black.
  json lit = m_browser.evaluate(
      "(() => { const d = document.getElementById('canvas-depth').getContext('2d').getImageData(0, 0, 640, 480).data;"
      " let n = 0; for (let i = 0; i < d.length; i += 4) if (d[i] + d[i + 1] + d[i + 2] > 60) n++; return n; })()",
      &error);
  EXPECT_GT(lit.get<int>(), 640 * 480 / 2) << error;
  json stats = m_browser.evaluate("document.querySelector('#panel-depth .stats').textContent", &error);
  EXPECT_NE(stats.get<std::string>().find("fps"), std::string::npos) << stats;

  std::vector<uint8_t> png;
  ASSERT_TRUE(m_browser.screenshot(&png, &error)) << error;
  keep(png, "viewer-page-streams.png");
  uint32_t width = 0, height = 0;
  EXPECT_GT(distinctColours(png, &width, &height), 500u);
  EXPECT_GT(width, 600u);

  // The point cloud, in WebGL.
  ASSERT_FALSE(m_browser.evaluate("document.getElementById('cloud-on').click(), true", &error).is_null()) << error;
  drawn = waitFor(kDrawn, [](const json& v) { return v["cloud"] >= 3; });
  ASSERT_GE(drawn["cloud"].get<int>(), 3) << drawn.dump();
  json webgl = m_browser.evaluate("viewerState.cloud.available", &error);
  if (webgl == true) {
    json points = m_browser.evaluate(
        "(() => { const c = document.getElementById('cloud'); const t = document.createElement('canvas');"
        " t.width = c.width; t.height = c.height; const g = t.getContext('2d'); g.drawImage(c, 0, 0);"
        " const d = g.getImageData(0, 0, t.width, t.height).data; let n = 0;"
        " for (let i = 0; i < d.length; i += 4) if (d[i] > 60 || d[i + 1] > 60 || d[i + 2] > 60) n++; return n; })()",
        &error);
    EXPECT_GT(points.get<int>(), 1000) << error;
  }
  ASSERT_TRUE(m_browser.screenshot(&png, &error)) << error;
  keep(png, "viewer-page-cloud.png");
  EXPECT_GT(distinctColours(png, &width, &height), 500u);

  // The page reports its timings back.
  ASSERT_TRUE(eventually([&] {
    json report = json::parse(m_server->pageReport(), nullptr, false);
    return report.is_object() && report.contains("latency") && report["latency"]["samples"].get<int>() > 0;
  }, std::chrono::seconds(30)));
}

TEST_F(BrowserTest, ReloadingAndClosingThePageLeavesNothingBehind) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  std::string error;
  const std::string url = "http://127.0.0.1:" + std::to_string(m_server->port()) + "/";
  for (int i = 0; i < 3; ++i) {
    ASSERT_FALSE(m_browser.call("Page.navigate", {{"url", url}}, &error).is_null()) << error;
    json drawn = waitFor(kDrawn, [](const json& v) { return v["depth"] >= 3; });
    ASSERT_GE(drawn["depth"].get<int>(), 3) << drawn.dump();
  }
  // Leaving the page closes its stream.
  ASSERT_FALSE(m_browser.call("Page.navigate", {{"url", "about:blank"}}, &error).is_null()) << error;
  EXPECT_TRUE(eventually([&] { return m_server->pages() == 0; }, std::chrono::seconds(30)));
  EXPECT_EQ(get("/api/status"), 200);
}

}  // namespace
}  // namespace viewer_test
