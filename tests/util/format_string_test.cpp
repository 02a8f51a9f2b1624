#include "util/format_string.h"

#include "support/test_folder.h"
#include "util/os_info.h"

namespace {

std::string Format(const char* pattern) {
  std::string out = "before";
  const bool filled = kxl::FormatString(out, pattern, {"count", 7U});
  return (filled ? "" : "refused after ") + out;
}

TEST(FormatString, FillsPlaceholders) {
  EXPECT_EQ(Format("%0 = %1; %1%1[%9]"), "count = 7; 77[]");
  EXPECT_EQ(Format("%01! %00099"), "count! count");
  EXPECT_EQ(Format("%a%b%%0"), "%a%b%0");
  for (const char* pattern : {"100%", "100%%"}) EXPECT_EQ(Format(pattern), "100%");
  for (const char* pattern : {"x%10y", "x%25"}) EXPECT_EQ(Format(pattern), "refused after x");
  EXPECT_EQ(Format("%1%111111111111111"), "refused after 7");
  EXPECT_EQ(Format(""), "");
}

TEST(OsInfo, UnpacksVersions) {
  EXPECT_EQ(kxl::DecodePackedVersion(0x1049), (std::array<std::int16_t, 3>{10, 4, 9}));
  EXPECT_EQ(kxl::DecodePackedVersion(0x0912), (std::array<std::int16_t, 3>{9, 1, 2}));
}

}  // namespace
