// The results as a table and as a chart.
#ifndef KXL_BENCH_REPORT_H
#define KXL_BENCH_REPORT_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

// Collects each row's times, the median of its repetitions.
class Report : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  // Prints every row in Markdown: each variant's time, the ratio of libkxl to it, and the mark that
  // the ratio should not exceed, if there is one.
  void Print() const;
  // Draws the ratios with a mark, as an SVG picture of a bar each.
  void Draw(const std::string& path) const;
  // As a row of Print, for what is no time.
  void Add(const std::string& row, const std::string& what, double value, double mark);

 private:
  struct Line {
    std::string row;
    std::string against;
    double own;    // microseconds; 0 for what is no time
    double other;  // microseconds; 0 without one
    double value;  // the ratio, or what the mark counts
    double mark;   // 0 for none
  };

  std::vector<Line> Lines() const;
  void AddGrowth(std::vector<Line>& lines, const std::string& row) const;

  using Variants = std::map<std::string, double>;  // microseconds
  std::vector<std::string> order_;
  std::map<std::string, Variants> rows_;
  std::vector<Line> added_;
};

}  // namespace bench

#endif  // KXL_BENCH_REPORT_H
