#include "api/validation.h"

#include <gtest/gtest.h>

#include <string>

#include "api/result_code.h"

namespace {

TEST(Validation, AppIdsAreShortAndPlain) {
  EXPECT_TRUE(kxl::IsValidAppId(""));
  EXPECT_TRUE(kxl::IsValidAppId(std::string(256, '\x7F').c_str()));
  EXPECT_FALSE(kxl::IsValidAppId(std::string(257, 'a').c_str()));
  EXPECT_FALSE(kxl::IsValidAppId("caf\xE9"));
}

TEST(Validation, Utf8) {
  const std::pair<const char*, bool> cases[] = {{"plain", true},
                                                {"\xC2\x80\xDF\xBF", true},
                                                {"\xC0\x80", false},  // over-long
                                                {"\xC1\xBF", false},
                                                {"\xE0\x9F\xBF", false},
                                                {"\xE0\xA0\x80", true},
                                                {"\xF0\x8F\xBF\xBD", false},
                                                {"\xF0\x90\x80\x80", true},
                                                {"\x80", false},  // stray
                                                {"\xC3", false},  // cut short
                                                {"\xE2\x82", false},
                                                {"\xF0\x9F\x98", false},
                                                {"\xC3(", false},
                                                {"\xED\xA0\x80", true},  // a surrogate
                                                {"\xEF\xB7\x8F\xEF\xB7\xB0", true},
                                                {"\xEF\xB7\x90", false},  // U+FDD0
                                                {"\xEF\xB7\xAF", false},
                                                {"\xEF\xBF\xBD", true},
                                                {"\xEF\xBF\xBE", false},      // U+FFFE
                                                {"\xF0\x9F\xBF\xBF", false},  // U+1FFFF
                                                {"\xF4\x90\x80\x80", true},   // U+110000
                                                {"\xF7\xBF\xBF\xBD", true},   // U+1FFFFD
                                                {"\xF8\x88\x80\x80\x80", false},
                                                {"\xFF", false}};
  for (const auto& [text, valid] : cases) EXPECT_EQ(kxl::IsValidUtf8(text), valid) << text;
  EXPECT_TRUE(kxl::IsValidUtf8(nullptr));
}

TEST(ResultCode, HasNameAndText) {
  EXPECT_EQ(kxl::ResultCodeText(3, nullptr), "ESD_ERR_INVALIDDATA");
  EXPECT_EQ(kxl::ResultCodeText(8, "%0(%1)"), "8(ESD_ERR_NOTIFY_PENDING)");
  for (const int code : {9, 12, 13, 14}) {
    EXPECT_EQ(kxl::ResultCodeText(code, "%0(%1)"), std::to_string(code) + "()");
  }
  EXPECT_EQ(kxl::ResultCodeText(-1, nullptr), "");
}

}  // namespace
