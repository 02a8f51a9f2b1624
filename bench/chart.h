// A picture of the figures, for pages of light and of dark ground.
#ifndef KXL_BENCH_CHART_H
#define KXL_BENCH_CHART_H

#include <string>
#include <vector>

namespace bench {

struct Point {
  double applications;
  double microseconds;
};

struct Curve {
  std::string name;
  std::vector<Point> points;
};

// Times against the number of applications.
struct Panel {
  std::string title;
  std::vector<Curve> curves;  // four of the same names in every panel
};

struct Bar {
  std::string label;
  std::string value;
  double length;  // in proportion to the mark: above 1 it is missed
};

// Writes the panels, both axes logarithmic, and the bars below them as SVG.
void DrawChart(const std::string& path, const std::vector<Panel>& panels,
               const std::vector<Bar>& bars);

}  // namespace bench

#endif  // KXL_BENCH_CHART_H
