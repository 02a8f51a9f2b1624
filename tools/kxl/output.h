// What the tool prints: rows for people or, with --json, one object a line.
#ifndef KXL_TOOLS_KXL_OUTPUT_H
#define KXL_TOOLS_KXL_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

using Json = nlohmann::ordered_json;

enum class Colour { kNone, kGood, kBad, kDim };

// An error as it is printed, with its line end.
std::string ErrorLine(const std::string& text, bool json);

class Output {
 public:
  explicit Output(bool json);
  ~Output();  // prints the rows
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // The object for programs, at once; the columns for people, aligned with those of the other rows
  // at the end. colour is the last column's, and shows on a terminal only, without NO_COLOR. What a
  // terminal would act upon is written out (screen_text.h), but for the line ends of a text that is
  // the only column. On a terminal a text in front of others is cut at 60 columns; a path is not,
  // since there is no use for a part of it.
  void Row(const Json& object, std::vector<std::string> columns, Colour colour = Colour::kNone);

  // The same for text that is printed at once, and as it is unless on a terminal.
  void Line(const Json& object, std::string_view text);

  // An error goes to the standard error, as {"error":...} or as text, and makes the exit status 1.
  void Error(const std::string& text);

  // Prints the rows so far.
  void Flush();

  // False once anything was lost on its way to the standard output.
  bool IsPrinted() const;

  bool IsJson() const { return json_; }
  int ExitStatus() const { return hasFailed_ ? 1 : 0; }
  void SetFailed() { hasFailed_ = true; }

 private:
  struct Columns {
    std::vector<std::string> texts;
    Colour colour;
  };

  bool json_;
  bool isTerminal_;
  bool hasColours_;
  bool hasFailed_ = false;
  std::vector<Columns> rows_;
};

}  // namespace tool

#endif  // KXL_TOOLS_KXL_OUTPUT_H
