#include "util/version.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "api/library_version.h"

namespace {

using kxl::Version;

TEST(Version, Parses) {
  const std::pair<const char*, const char*> cases[] = {
      {"6.0.1", "6.0.1.0"},     {"7", "7.0.0.0"},
      {"", "0.0.0.0"},          {"6.0.", "6.0.0.0"},
      {"6.0.1beta", "6.0.0.0"}, {"0,0,0,0", "0.0.0.0"},
      {"1-2 3.4", "1.2.3.4"},   {"+1.2", "1.2.0.0"},
      {"1\t.\n2", "1.2.0.0"},   {"1.2.3.99999999999", "1.2.3.0"}};
  for (const auto& [text, expected] : cases) {
    Version version;
    EXPECT_TRUE(version.Parse(text)) << text;
    EXPECT_EQ(version.ToString(), expected) << text;
  }
  for (const char* text :
       {"6.x.1", "6..1", ".1", "-1.0.0.0", "1.2.3.4.5", "1.2.3.4.", "99999999999.1", "1 .2"}) {
    EXPECT_THROW(Version{text}, std::runtime_error) << text;
  }
}

TEST(Version, KeepsWhatTheTextDoesNotReach) {
  Version version(1, 1, 1, 1);
  std::istringstream("2.5 rest") >> version;
  EXPECT_EQ(version, Version(2, 5, 1, 1));
  EXPECT_FALSE(version.Parse("3.x.4"));
  EXPECT_EQ(version, Version(3, 5, 1, 1));
  std::ostringstream text;
  text << Version(-1, 0, 0, 1234);
  EXPECT_EQ(text.str(), "-1.0.0.1234");
}

TEST(Version, ComparesNumberByNumber) {
  EXPECT_LT(Version("1.2.3.4"), Version("1.2.4.0"));
  EXPECT_EQ(Version("10.4.9"), Version("10,4-9 0"));
  EXPECT_GT(Version("10"), Version("9.9.9.9"));
  EXPECT_LE(Version("1.2.3.4"), Version("1.2.3.4"));
  EXPECT_LT(Version(-1, 0, 0, 0), Version());
}

TEST(LibraryVersion, PacksFourNumbers) {
  const std::pair<const char*, std::uint32_t> cases[] = {{"6.2.0.1474", 0x62000000},
                                                         {"1.2.3.4", 0x12300000},
                                                         {"0.17.0.0", 0x11000000},
                                                         {"6.2.0", 0},
                                                         {"6.2.0.1.1", 0},
                                                         {"6.x.0.1", 0},
                                                         {"6.2.0.", 0},
                                                         {"", 0}};
  for (const auto& [text, packed] : cases) EXPECT_EQ(kxl::PackVersion(text), packed) << text;
}

}  // namespace
