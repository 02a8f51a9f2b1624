#include "api/validation.h"

#include "api/result_code.h"
#include "support/test_folder.h"

namespace {

TEST(Validation, Utf8) {
  for (const char* text :
       {"plain", "\xC2\x80\xDF\xBF", "\xE0\xA0\x80", "\xF0\x90\x80\x80", "\xED\xA0\x80",
        "\xEF\xB7\x8F\xEF\xB7\xB0", "\xEF\xBF\xBD", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBD"}) {
    EXPECT_TRUE(kxl::IsValidUtf8(text)) << text;
  }
  // Over-long, stray or cut short; U+FDD0, U+FDEF, U+FFFE, U+1FFFF; longer than four bytes.
  for (const char* text :
       {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBD", "\x80", "\xC3", "\xE2\x82",
        "\xF0\x9F\x98", "\xC3(", "\xEF\xB7\x90", "\xEF\xB7\xAF", "\xEF\xBF\xBE", "\xF0\x9F\xBF\xBF",
        "\xF8\x88\x80\x80\x80", "\xFF"}) {
    EXPECT_FALSE(kxl::IsValidUtf8(text)) << text;
  }
  EXPECT_TRUE(kxl::IsValidUtf8(nullptr));
}

TEST(ResultCode, HasNameAndText) {
  EXPECT_EQ(kxl::ResultCodeText(3, nullptr), "ESD_ERR_INVALIDDATA");
  EXPECT_EQ(kxl::ResultCodeText(8, "%0(%1)"), "8(ESD_ERR_NOTIFY_PENDING)");
  for (const int code : {-1, 9, 12, 13, 14}) EXPECT_EQ(kxl::ResultCodeText(code, "(%1)"), "()");
}

}  // namespace
