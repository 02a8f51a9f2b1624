#include "util/format_string.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "util/os_info.h"

namespace {

TEST(FormatString, FillsPlaceholders) {
  const struct {
    const char* pattern;
    bool filled;
    const char* text;
  } cases[] = {{"%0 = %1", true, "count = 7"},
               {"", true, ""},
               {"100%", true, "100%"},
               {"100%%", true, "100%"},
               {"%a%b", true, "%a%b"},
               {"%%0", true, "%0"},
               {"[%9]", true, "[]"},
               {"%1%1", true, "77"},
               {"%01!", true, "count!"},
               {"%00099", true, "count"},
               {"x%10y", false, "x"},
               {"x%25", false, "x"},
               {"%1%111111111111111", false, "7"}};
  for (const auto& [pattern, filled, text] : cases) {
    std::string out = "before";
    EXPECT_EQ(kxl::FormatString(out, pattern, {"count", 7U}), filled) << pattern;
    EXPECT_EQ(out, text) << pattern;
  }
}

TEST(OsInfo, TellsNameAndVersion) {
  EXPECT_EQ(kxl::GetOSName(), "Linux");
  utsname system;
  ASSERT_EQ(uname(&system), 0);
  EXPECT_TRUE(std::string_view(system.release).starts_with(kxl::GetOSVersion()));
  EXPECT_EQ(kxl::DecodePackedVersion(0x1049), (std::array<std::int16_t, 3>{10, 4, 9}));
  EXPECT_EQ(kxl::DecodePackedVersion(0x0912), (std::array<std::int16_t, 3>{9, 1, 2}));
}

}  // namespace
