#include "stores/admin_prefs.h"

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

// A binary list of these objects, of which the first is the outermost. References have two bytes.
std::string Binary(const std::vector<std::string>& objects) {
  const auto number = [](std::uint64_t value, int size) {
    std::string bytes;
    for (; size > 0; --size) bytes += static_cast<char>(value >> 8 * (size - 1));
    return bytes;
  };
  std::string list = "bplist00";
  std::string offsets;
  for (const std::string& object : objects) {
    offsets += number(list.size(), 4);
    list += object;
  }
  return list + offsets + std::string(6, '\0') + "\x04\x02" + number(objects.size(), 8) +
         number(0, 8) + number(list.size(), 8);
}

constexpr char kKey[] = "\136Disable.Update";

std::string BinaryWith(const char* value) {
  return Binary({std::string("\xd1\0\x01\0\x02", 5), kKey, value});
}

std::string Xml(const std::string& value) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
         "<key>Other</key><true/><key>Disable.Update</key>" +
         value + "</dict></plist>\n";
}

// 1 enabled, 0 disabled, -1 no answer.
int AnswerFrom(const std::string& text) {
  WriteFile(AdminListPath(), text);
  bool enabled = true;
  const bool answered = kxl::IsUpdateEnabledByAdmin(enabled);
  EXPECT_TRUE(answered || enabled) << "no answer changes nothing";
  return answered ? enabled : -1;
}

TEST(AdminPrefs, OnlyABooleanCounts) {
  bool enabled = true;
  EXPECT_FALSE(kxl::IsUpdateEnabledByAdmin(enabled)) << "no file";
  WriteFile(AdminListPath() + ".target", "");
  fs::create_symlink(AdminListPath() + ".target", AdminListPath());  // links are followed
  for (const auto& text : {Xml("<true/>"), BinaryWith("\x09")})
    EXPECT_EQ(AnswerFrom(text), 0) << text;
  for (const auto& text : {Xml("<false/>"), BinaryWith("\x08")})
    EXPECT_EQ(AnswerFrom(text), 1) << text;
  for (const auto& text :
       {Xml("<integer>1</integer>"), Xml("<string>true</string>"), BinaryWith("\x09").substr(0, 20),
        std::string("<plist version=\"1.0\"><dict></dict></plist>"), std::string("no list"),
        std::string("<plist version=\"1.0\"><true/></plist>"), std::string(),
        std::string("<plist version=\"1.0\"><dict><key>Disable.Update")}) {
    EXPECT_EQ(AnswerFrom(text), -1) << text;
  }
}

// So many arrays, each of which holds the next one so many times.
std::string Nested(std::size_t depth, int references) {
  std::vector<std::string> objects;
  for (std::size_t i = 1; i < depth; ++i) {
    objects.push_back(std::string(1, static_cast<char>(0xA0 | references)));
    for (int n = 0; n < references; ++n) {
      objects.back() += static_cast<char>(i >> 8U);
      objects.back() += static_cast<char>(i);
    }
  }
  objects.emplace_back("\xa0");
  return Binary(objects);
}

// libplist would take the host's stack, its memory or an hour.
TEST(AdminPrefs, WhatUnfoldsTooFarIsNoList) {
  const std::string dict = "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/>";
  const std::string end = "</dict></plist>";
  std::string nested;
  for (int i = 0; i < 20000; ++i) nested += i < 10000 ? "<array>" : "</array>";
  EXPECT_EQ(AnswerFrom("<!DOCTYPE plist SYSTEM 'x'><!-- " + nested + " -->" + dict + end), 0)
      << "a comment is none of the list";
  EXPECT_EQ(AnswerFrom("<!DOCTYPE plist [<!-- ]> -->]>" + dict + end), -1) << "declarations";
  EXPECT_EQ(AnswerFrom(dict + "<key>a</key>" + nested + end), -1);
  EXPECT_EQ(AnswerFrom(dict + end + std::string(256 * 1024, ' ')), -1) << "too large";

  // Beside the switch a key of any value.
  const auto answer = [](std::vector<std::string> value) {
    const std::string top = "\xd2" + std::string("\0\x01\0\x02\0\x03\0\x04", 8);
    value.insert(value.begin(), {top, kKey, "\x51\x61", "\x09"});
    return AnswerFrom(Binary(value));
  };
  std::string many = "\xaf\x10\xc8";
  while (many.size() < 403) many += {'\0', '\x05'};
  EXPECT_EQ(answer({"\x08"}), 0);
  EXPECT_EQ(answer({std::string("\xa1\0\x04", 3)}), -1) << "one that holds itself";
  const std::string large =
      "\x4f\x12" + std::string("\0\x01\x86\xa0", 4) + std::string(100000, 'x');
  EXPECT_EQ(answer({many, large}), -1) << "20 megabytes";
  for (const auto& [depth, references] : {std::pair(65000, 1), {64, 2}, {20, 14}}) {
    EXPECT_EQ(AnswerFrom(Nested(static_cast<std::size_t>(depth), references)), -1);
  }
}

}  // namespace
