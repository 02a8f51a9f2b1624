#include "bench/chart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>

namespace bench {

namespace {

// Pixels.
constexpr int kPanelWidth = 470;
constexpr int kPanelTop = 86;
constexpr int kPlotLeft = 60;
constexpr int kDecade = 90;  // along x
constexpr int kDecadeUp = 62;
constexpr int kRow = 22;
constexpr int kBarsLeft = 450;
constexpr int kMark = 260;  // the length of a bar that just keeps its mark

// The decades of both panels: 10 microseconds to 100 milliseconds, 1 to 10000 applications.
constexpr std::array kTimes = {"10 us", "100 us", "1 ms", "10 ms", "100 ms"};
constexpr std::array kCounts = {"1", "10", "100", "1000", "10000"};
constexpr int kPlotHeight = kDecadeUp * (static_cast<int>(kTimes.size()) - 1);
constexpr int kPlotWidth = kDecade * (static_cast<int>(kCounts.size()) - 1);
constexpr int kBarsTop = kPanelTop + kPlotHeight + 60;

constexpr char kStyle[] = R"(<style>
text { font: 12px sans-serif; fill: #1f2328; }
.title { font-weight: bold; }
.ground { fill: #ffffff; }
.grid { stroke: #d8dee4; }
.mark { stroke: #1f2328; }
.kept { fill: #7fb2e5; }
.missed { fill: #e8896b; }
.curve { fill: none; stroke-width: 2; }
.c0 { stroke: #0a5cc2; stroke-width: 3; }
.c1 { stroke: #6b7280; stroke-dasharray: 6 4; }
.c2 { stroke: #c2500a; }
.c3 { stroke: #2f8a3c; }
@media (prefers-color-scheme: dark) {
  text { fill: #e6edf3; }
  .ground { fill: #0d1117; }
  .grid { stroke: #30363d; }
  .mark { stroke: #e6edf3; }
  .kept { fill: #2b5f94; }
  .missed { fill: #a04a2c; }
  .c0 { stroke: #6cb0ff; }
  .c1 { stroke: #9aa4b2; }
  .c2 { stroke: #ff9c5c; }
  .c3 { stroke: #6fce7c; }
}
</style>
)";

class Svg {
 public:
  Svg(const std::string& path, int width, int height) : file_(path) {
    file_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\""
          << height << "\">\n"
          << kStyle;
    Rectangle("ground", 0, 0, width, height);
  }
  ~Svg() { file_ << "</svg>\n"; }
  Svg(const Svg&) = delete;
  Svg& operator=(const Svg&) = delete;

  void Text(int x, int y, const std::string& text, const char* anchor = "start",
            const char* style = "") {
    file_ << "<text class=\"" << style << "\" x=\"" << x << "\" y=\"" << y << "\" text-anchor=\""
          << anchor << "\">" << text << "</text>\n";
  }

  void Line(const std::string& style, int x1, int y1, int x2, int y2) {
    file_ << "<line class=\"" << style << "\" x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2
          << "\" y2=\"" << y2 << "\"/>\n";
  }

  void Rectangle(const char* style, int x, int y, int width, int height) {
    file_ << "<rect class=\"" << style << "\" x=\"" << x << "\" y=\"" << y << "\" width=\"" << width
          << "\" height=\"" << height << "\"/>\n";
  }

  void Polyline(const std::string& style, const std::vector<std::array<double, 2>>& points) {
    file_ << "<polyline class=\"" << style << "\" points=\"";
    for (const auto& [x, y] : points) file_ << x << ',' << y << ' ';
    file_ << "\"/>\n";
  }

 private:
  std::ofstream file_;
};

std::string CurveStyle(std::size_t number) { return "curve c" + std::to_string(number); }

void DrawPanel(Svg& svg, const Panel& panel, int left) {
  svg.Text(left, kPanelTop - 16, panel.title, "start", "title");
  const int bottom = kPanelTop + kPlotHeight;
  for (std::size_t i = 0; i < kTimes.size(); ++i) {
    const int y = bottom - static_cast<int>(i) * kDecadeUp;
    svg.Line("grid", left, y, left + kPlotWidth, y);
    svg.Text(left - 6, y + 4, kTimes[i], "end");
  }
  for (std::size_t i = 0; i < kCounts.size(); ++i) {
    const int x = left + static_cast<int>(i) * kDecade;
    svg.Line("grid", x, kPanelTop, x, bottom);
    svg.Text(x, bottom + 18, kCounts[i], "middle");
  }
  svg.Text(left + kPlotWidth / 2, bottom + 36, "applications", "middle");
  for (std::size_t i = panel.curves.size(); i-- > 0;) {  // the first one on top
    std::vector<std::array<double, 2>> points;
    for (const auto& [applications, microseconds] : panel.curves[i].points) {
      points.push_back({left + std::log10(applications) * kDecade,
                        bottom - (std::log10(microseconds) - 1) * kDecadeUp});
    }
    svg.Polyline(CurveStyle(i), points);
  }
}

void DrawLegend(Svg& svg, const Panel& panel) {
  constexpr int kEntry = 210;
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    const int x = kPlotLeft + static_cast<int>(i) * kEntry;
    svg.Line(CurveStyle(i), x, 40, x + 34, 40);
    svg.Text(x + 42, 44, panel.curves[i].name);
  }
}

void DrawBars(Svg& svg, const std::vector<Bar>& bars) {
  svg.Text(8, kBarsTop, "libkxl in proportion to its marks (the line); shorter is better", "start",
           "title");
  int top = kBarsTop + 8;
  for (const Bar& bar : bars) {
    const int length = static_cast<int>(std::min(bar.length, 1.5) * kMark);
    svg.Text(8, top + 16, bar.label);
    svg.Rectangle(bar.length > 1 ? "missed" : "kept", kBarsLeft, top + 4, length, kRow - 6);
    svg.Text(kBarsLeft + std::max(length, kMark) + 8, top + 16, bar.value);
    top += kRow;
  }
  svg.Line("mark", kBarsLeft + kMark, kBarsTop + 8, kBarsLeft + kMark, top);
}

}  // namespace

void DrawChart(const std::string& path, const std::vector<Panel>& panels,
               const std::vector<Bar>& bars) {
  Svg svg(path, static_cast<int>(panels.size()) * kPanelWidth,
          kBarsTop + (static_cast<int>(bars.size()) + 1) * kRow);
  svg.Text(8, 20, "What a call costs (both axes logarithmic; lower is better)", "start", "title");
  DrawLegend(svg, panels.front());
  for (std::size_t i = 0; i < panels.size(); ++i) {
    DrawPanel(svg, panels[i], static_cast<int>(i) * kPanelWidth + kPlotLeft);
  }
  DrawBars(svg, bars);
}

}  // namespace bench
