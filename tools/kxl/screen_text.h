// Texts from anywhere, made fit for a terminal. UTF-8 is told by the locale of characters
// (LC_CTYPE), which has to be one of UTF-8.
#ifndef KXL_TOOLS_KXL_SCREEN_TEXT_H
#define KXL_TOOLS_KXL_SCREEN_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

enum class LineEnds { kKeep, kEscape };

// With what a terminal would act upon in writing, as in "\x9b" or "\u202e": control characters,
// line separators, marks that turn the direction of text, and bytes that are no UTF-8.
std::string Visible(std::string_view text, LineEnds lineEnds);

// JSON text with the same ones beyond ASCII as \u escapes.
std::string VisibleJson(std::string_view json);

// In columns; of a text that is visible.
std::size_t ScreenWidth(std::string_view text);

// The text's beginning with an ellipsis, in at most so many columns.
std::string Shortened(std::string_view text, std::size_t columns);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_SCREEN_TEXT_H
