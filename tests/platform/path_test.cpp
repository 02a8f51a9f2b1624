#include "platform/path.h"

#include <gtest/gtest.h>

#include "platform/user_dirs.h"

namespace {

TEST(Path, Joins) {
  const char* const cases[][3] = {{"/x", "Data", "/x/Data"},    {"/x/", "Data", "/x/Data"},
                                  {"/x", "/Data", "/x/Data"},   {"/x/", "/Data", "/x/Data"},
                                  {"/x", "//Data", "/x//Data"}, {"", "Data", "/Data"}};
  for (const auto& [base, component, path] : cases) {
    EXPECT_EQ(kxl::JoinPath(base, component), path) << base << " and " << component;
  }
}

TEST(Path, KnowsParents) {
  const char* const cases[][2] = {{"/a/b", "/a"}, {"/a/b//", "/a"}, {"/a//b", "/a"},
                                  {"/a", "/"},    {"/", "/"},       {"a", "."}};
  for (const auto& [path, parent] : cases) EXPECT_EQ(kxl::ParentPath(path), parent) << path;
}

TEST(Path, RefusesWhatIsNoComponent) {
  for (const char* name : {"", ".", "..", "a/b", "/"}) {
    EXPECT_FALSE(kxl::IsPathComponent(name)) << name;
  }
  for (const char* name : {"a", "...", ".a", "a b"}) EXPECT_TRUE(kxl::IsPathComponent(name));
}

TEST(UserDirs, FindsTheLastValidLine) {
  const std::string_view text =
      "# XDG_DESKTOP_DIR=\"/comment\"\n"
      "XDG_DESKTOP_DIR=\"/first\"\n"
      "  XDG_DESKTOP_DIR=\"$HOME/Bureau \\\"2\\\"\"\n"
      "XDG_DESKTOP_DIR=\"relative\"\n"
      "XDG_DESKTOP_DIR=\"/no end\n"
      "XDG_DOCUMENTS_DIR=\"$HOME\"";
  EXPECT_EQ(kxl::FindUserDir(text, "XDG_DESKTOP_DIR", "/h"), "/h/Bureau \"2\"");
  EXPECT_EQ(kxl::FindUserDir(text, "XDG_DOCUMENTS_DIR", "/h"), "/h/");
  EXPECT_EQ(kxl::FindUserDir(text, "XDG_MUSIC_DIR", "/h"), "");
}

}  // namespace
