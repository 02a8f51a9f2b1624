#include "esd/journaled_xml_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/file_system.h"
#include "platform/thread_guards.h"
#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::InTestFolder;
using kxl_test::ReadFile;
using kxl_test::WriteFile;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

std::string FileText(const std::string& text) {
  return kDeclaration + ("<root>" + text + "</root>\n");
}

// A file whose root element has one text.
class TextFile : public kxl::JournaledXMLLockedFile {
 public:
  explicit TextFile(const std::string& path) : JournaledXMLLockedFile(100) { SetPath(path); }

  bool Write(const std::string& text) {
    if (!Load()) return false;
    esd::FindOrCreateChild(Document(), "root")->SetText(text);
    return Save();
  }
  std::string Read() {
    if (!Load()) return "-";
    const esd::XMLNodePointer root = esd::FindChild(Document(), "root");
    return root ? root->GetText() : "";
  }
};

class JournaledXMLFileTest : public testing::Test {
 protected:
  const std::string path_ = InTestFolder("store.xml");
  const std::string journal_ = path_ + "_";
  TextFile file_{path_};
};

TEST_F(JournaledXMLFileTest, SavesAndLoads) {
  EXPECT_FALSE(file_.Save()) << "nothing to save before a load";
  const mode_t before = umask(077);
  for (const char* text : {"first", "second"}) {
    EXPECT_TRUE(file_.Write(text));
    EXPECT_EQ(ReadFile(path_), FileText(text));
    EXPECT_FALSE(fs::exists(journal_));
    EXPECT_EQ(TextFile(path_).Read(), text);
    EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0666));
  }
  umask(before);
  EXPECT_TRUE(file_.Remove());
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_FALSE(file_.Save());
  EXPECT_EQ(file_.Read(), "");
}

TEST_F(JournaledXMLFileTest, ACompleteJournalWinsAndATornOneGoes) {
  const std::string complete = FileText("journal");
  for (const bool mainExists : {true, false}) {
    for (std::size_t length = 0; length <= complete.size(); ++length) {
      fs::remove(path_);
      if (mainExists) WriteFile(path_, FileText("main"));
      WriteFile(journal_, complete.substr(0, length));
      // Without its last byte, a line end, the document is complete as well.
      const bool isComplete = length + 1 >= complete.size();
      EXPECT_EQ(file_.Read(), isComplete ? "journal" : mainExists ? "main" : "") << length;
      EXPECT_FALSE(fs::exists(journal_)) << length;
      EXPECT_EQ(fs::exists(path_), mainExists || isComplete) << length;
    }
  }
}

TEST_F(JournaledXMLFileTest, AJournalThatIsNoFileIsNotFollowed) {
  WriteFile(path_, FileText("main"));
  WriteFile(InTestFolder("precious"), "kept");
  fs::create_symlink(InTestFolder("precious"), journal_);
  EXPECT_TRUE(file_.Write("new"));
  EXPECT_EQ(ReadFile(InTestFolder("precious")), "kept");
  EXPECT_EQ(ReadFile(path_), FileText("new"));
  // A folder there is no state of the file, and stands in the way of a save only.
  fs::create_directory(journal_);
  EXPECT_EQ(file_.Read(), "new");
  EXPECT_FALSE(file_.Write("newer"));
  EXPECT_FALSE(file_.Remove());
  EXPECT_EQ(ReadFile(path_), FileText("new"));
  fs::remove(journal_);
  // And one in the file's place is not exchanged for a journal.
  fs::remove(path_);
  fs::create_directory(path_);
  WriteFile(journal_, FileText("journal"));
  EXPECT_FALSE(file_.Load());
  EXPECT_TRUE(fs::is_directory(path_));
  fs::remove(journal_);
}

TEST_F(JournaledXMLFileTest, AHeldLockFailsEveryOperation) {
  ASSERT_TRUE(file_.Write("text"));
  TextFile holder(path_);
  const kxl::FileLock lock(holder);
  EXPECT_FALSE(file_.Load() || file_.Save() || file_.Remove() || file_.Recover());
  EXPECT_EQ(ReadFile(path_), FileText("text"));
  EXPECT_TRUE(holder.Write("inside")) << "operations inside the holder's scope";
  EXPECT_TRUE(holder.IsLocked());
  TextFile nameless("");
  EXPECT_FALSE(nameless.Lock());
}

TEST_F(JournaledXMLFileTest, MovesToAnotherPath) {
  const std::string other = InTestFolder("other.xml");
  ASSERT_TRUE(file_.Write("text"));
  EXPECT_TRUE(file_.SetPath(path_));
  EXPECT_EQ(file_.Read(), "text");
  WriteFile(other, "taken");
  EXPECT_FALSE(file_.SetPath(other));
  EXPECT_EQ(ReadFile(other) + file_.Path(), "taken" + path_);
  fs::remove(other);
  WriteFile(journal_, "torn");
  EXPECT_TRUE(file_.SetPath(other));
  EXPECT_EQ(file_.Read(), "text");
  EXPECT_FALSE(fs::exists(path_) || fs::exists(journal_));
}

TEST_F(JournaledXMLFileTest, RecoversDamageAndNothingElse) {
  const std::string aside = path_ + ".damaged";
  WriteFile(aside, "older");
  WriteFile(path_, FileText("sound"));
  EXPECT_TRUE(file_.Recover());
  EXPECT_EQ(ReadFile(path_) + ReadFile(aside), FileText("sound") + "older");

  WriteFile(path_, "<damaged");
  EXPECT_TRUE(file_.Recover());
  EXPECT_EQ(ReadFile(aside), "<damaged");
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_TRUE(file_.Write("new"));

  fs::remove(path_);
  fs::create_directory(path_);
  EXPECT_FALSE(file_.Recover());
  EXPECT_TRUE(fs::is_directory(path_));
  fs::remove(path_);

  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_TRUE(file_.Recover());
  EXPECT_FALSE(fs::exists(path_));
}

CHILD_BODY(WriteWithAFileSizeLimit) {
  const auto bytes = static_cast<rlim_t>(std::stoul(arguments[1]));
  const rlimit limit = {bytes, bytes};
  setrlimit(RLIMIT_FSIZE, &limit);
  const kxl::FileSizeSignalBlock noSignal;
  return TextFile(arguments[0]).Write(std::string(20000, 'n')) ? 0 : 1;
}

// The write fails early, late (with the flush) or not at all. The lock itself needs 32 bytes.
TEST_F(JournaledXMLFileTest, AFullDiskLeavesTheOldState) {
  const std::string after = FileText(std::string(20000, 'n'));
  for (const std::size_t bytes :
       {std::size_t{32}, std::size_t{10000}, after.size() - 1, after.size()}) {
    for (const bool existed : {true, false}) {
      fs::remove(path_);
      if (existed) {
        ASSERT_TRUE(file_.Write("old"));
      }
      kxl_test::ChildProcess child("WriteWithAFileSizeLimit", {path_, std::to_string(bytes)});
      const bool fits = bytes == after.size();
      EXPECT_EQ(child.Exit(), fits ? 0 : 1) << bytes;
      EXPECT_EQ(fs::exists(path_), fits || existed);
      EXPECT_EQ(ReadFile(path_), fits ? after : existed ? FileText("old") : "") << bytes;
      EXPECT_FALSE(fs::exists(journal_)) << bytes;
    }
  }
}

CHILD_BODY(UseAFileWithoutRights) {
  if (setuid(65534) != 0) return 2;
  TextFile file(arguments[0]);
  return file.Load() || file.Write("x") || file.Recover() ? 1 : 0;
}

TEST_F(JournaledXMLFileTest, AnUnreadableFileIsNoDamagedOne) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  ASSERT_TRUE(file_.Write("text"));
  chmod(kxl_test::TestFolder().c_str(), 0777);
  chmod(path_.c_str(), 0600);
  kxl_test::ChildProcess child("UseAFileWithoutRights", {path_});
  EXPECT_EQ(child.Exit(), 0);
  chmod(kxl_test::TestFolder().c_str(), 0700);
  EXPECT_EQ(ReadFile(path_), FileText("text"));
}

}  // namespace
