#include "util/version.h"

#include <sstream>

#include "api/library_version.h"
#include "support/test_folder.h"

namespace {

using kxl::Version;

TEST(Version, Parses) {
  const std::pair<const char*, const char*> cases[] = {
      {"6.0.1", "6.0.1.0"}, {"", "0.0.0.0"},        {"6.0.1beta", "6.0.0.0"},
      {"6.0.", "6.0.0.0"},  {"+1.2", "1.2.0.0"},    {"1.2.3.99999999999", "1.2.3.0"},
      {"7", "7.0.0.0"},     {"1-2 3.4", "1.2.3.4"}, {"1\t.\n2", "1.2.0.0"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(Version(text).ToString(), expected) << text;
  for (const char* text : {"6.x.1", "6..1", ".1", "-1.0.0.0", "1.2.3.4.5", "1.2.3.4.", "1 .2"}) {
    EXPECT_THROW(Version{text}, std::runtime_error) << text;
  }
  Version version(1, 1, 1, 1);
  std::istringstream("2.5 rest") >> version;
  EXPECT_EQ(version, Version(2, 5, 1, 1)) << "keeps what the text does not reach";
}

TEST(LibraryVersion, PacksFourNumbers) {
  EXPECT_EQ(kxl::PackVersion("6.2.0.1474"), 0x62000000U);
  EXPECT_EQ(kxl::PackVersion("0.17.0.0"), 0x11000000U);
  for (const char* text : {"6.2.0", "6.2.0.1.1", "6.x.0.1"}) EXPECT_EQ(kxl::PackVersion(text), 0U);
}

}  // namespace
