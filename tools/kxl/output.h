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

class Output {
 public:
  explicit Output(bool json);
  ~Output();  // prints the rows
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // The object for programs, at once; the columns for people, aligned with those of the other rows
  // at the end. colour is the last column's, and shows on a terminal only, without NO_COLOR.
  void Row(const Json& object, std::vector<std::string> columns, Colour colour = Colour::kNone);

  // The same for text that is printed as it is, at once.
  void Line(const Json& object, std::string_view text);

  // An error goes to the standard error, as {"error":...} or as text, and makes the exit status 1.
  void Error(const std::string& text);

  // Prints the rows so far.
  void Flush();

  bool IsJson() const { return json_; }
  int ExitStatus() const { return hasFailed_ ? 1 : 0; }
  void SetFailed() { hasFailed_ = true; }

 private:
  struct Columns {
    std::vector<std::string> texts;
    Colour colour;
  };

  bool json_;
  bool hasColours_;
  bool hasFailed_ = false;
  std::vector<Columns> rows_;
};

}  // namespace tool

#endif  // KXL_TOOLS_KXL_OUTPUT_H
