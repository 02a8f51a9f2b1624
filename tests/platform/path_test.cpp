#include "platform/path.h"

#include "platform/user_dirs.h"
#include "support/test_folder.h"

namespace {

TEST(Path, JoinsAndSplits) {
  for (const char* base : {"/x", "/x/"}) {
    for (const char* name : {"Data", "/Data"}) EXPECT_EQ(kxl::JoinPath(base, name), "/x/Data");
  }
  EXPECT_EQ(kxl::JoinPath("/x", "//Data"), "/x//Data");
  for (const char* path : {"/a/b", "/a/b//", "/a//b"}) EXPECT_EQ(kxl::ParentPath(path), "/a");
  EXPECT_EQ(kxl::ParentPath("/a") + kxl::ParentPath("/") + kxl::ParentPath("a"), "//.");
}

TEST(UserDirs, FindsTheLastValidLine) {
  const std::string_view text =
      "# XDG_DESKTOP_DIR=\"/comment\"\n  XDG_DESKTOP_DIR=\"$HOME/Bureau \\\"2\\\"\"\n"
      "XDG_DESKTOP_DIR=\"relative\"\nXDG_DESKTOP_DIR=\"/no end\n";
  EXPECT_EQ(kxl::FindUserDir(text, "XDG_DESKTOP_DIR", "/h"), "/h/Bureau \"2\"");
  EXPECT_EQ(kxl::FindUserDir(text, "XDG_MUSIC_DIR", "/h"), "");
}

}  // namespace
