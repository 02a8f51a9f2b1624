// The worst that somebody can put in the place of a shared file.
#ifndef KXL_BENCH_SHAPES_H
#define KXL_BENCH_SHAPES_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace shapes {

// The one application that calls are made for: complete, and listed under another folder in every
// list that it is on.
inline constexpr char kAppId[] = "com.example.editor";
inline constexpr char kName[] = "Example Editor";

struct Shape {
  std::string group;
  std::string name;
  std::function<std::string(std::size_t limit)> make;  // the content, limit bytes at most
};

using Shapes = std::vector<Shape>;

// What stands around a shape, so that the file has the right form and everything in it is read,
// kept and written. Where a reader looks for something in order, it is the last that is found.
struct Frame {
  std::string head;
  std::string tail;
};

enum class Place { kInside, kBefore, kBehind, kInstead };  // of, or in, the frame

// A content that is one thing again and again. An '@' in the unit is its number.
struct Repetition {
  std::string group;
  std::string name;
  std::string before = {};
  std::string unit = {};
  std::string after = {};
  std::size_t most = SIZE_MAX;  // units
  Place place = Place::kInside;
  bool isCut = false;  // nothing behind the last unit
};

// As many elements and attributes together as a document may have, with room for its frame's.
inline constexpr std::size_t kMostNodes = 999000;

std::string Repeated(std::size_t count, const std::string& text);
Shape ShapeOf(const Repetition& repetition, const Frame& frame);
Shapes ShapesOf(const std::vector<Repetition>& repetitions, const Frame& frame);

Shapes XmlShapes(const Frame& frame);  // of any XML document
Shapes ApplicationShapes();
Shapes MissingComponentShapes();
Shapes PreferenceShapes();
Shapes AnswerShapes();
Shapes HoldShapes();
Shapes PropertyListShapes();        // XML
Shapes BinaryPropertyListShapes();  // of their own

}  // namespace shapes

#endif  // KXL_BENCH_SHAPES_H
