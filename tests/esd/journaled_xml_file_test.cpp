#include "esd/journaled_xml_file.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

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
    return root ? std::string(root->GetText()) : "";
  }
};

class JournaledXMLFileTest : public testing::Test {
 protected:
  const std::string path_ = InTestFolder("store.xml");
  const std::string journal_ = path_ + "_";
  TextFile file_{path_};
};

TEST_F(JournaledXMLFileTest, SavesLoadsAndMoves) {
  EXPECT_FALSE(file_.Save()) << "nothing to save before a load";
  const mode_t before = umask(077);
  for (const char* text : {"first", "second"}) {
    EXPECT_TRUE(file_.Write(text));
    EXPECT_EQ(ReadFile(path_), FileText(text));
    EXPECT_EQ(TextFile(path_).Read(), text);
    EXPECT_EQ(ModeOf(path_), 0666U);
  }
  umask(before);
  const std::string other = InTestFolder("other.xml");
  WriteFile(other, "taken");
  EXPECT_FALSE(file_.SetPath(other));
  EXPECT_EQ(ReadFile(other) + file_.Path(), "taken" + path_);
  fs::remove(other);
  WriteFile(journal_, "torn");
  EXPECT_TRUE(file_.SetPath(other));
  EXPECT_EQ(file_.Read(), "second");
  EXPECT_FALSE(fs::exists(path_) || fs::exists(journal_));
  EXPECT_TRUE(file_.Remove());
  EXPECT_FALSE(fs::exists(other) || file_.Save());
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
  WriteFile(InTestFolder("precious"), FileText("kept"));
  fs::create_symlink(InTestFolder("precious"), journal_);
  EXPECT_EQ(file_.Read(), "main");
  fs::create_symlink(InTestFolder("precious"), journal_);
  EXPECT_FALSE(file_.Save());
  EXPECT_TRUE(file_.Write("new"));
  EXPECT_EQ(ReadFile(InTestFolder("precious")), FileText("kept"));
  // A folder there is no state of the file, and stands in the way of a save only.
  fs::create_directory(journal_);
  EXPECT_EQ(file_.Read(), "new");
  EXPECT_FALSE(file_.Write("newer"));
  EXPECT_EQ(ReadFile(path_), FileText("new"));
  EXPECT_TRUE(file_.Remove());
  EXPECT_TRUE(fs::remove(journal_)) << "it was left";
  // And one in the file's place is not exchanged for a journal.
  fs::create_directory(path_);
  WriteFile(journal_, FileText("journal"));
  EXPECT_FALSE(file_.Load());
  EXPECT_TRUE(fs::is_directory(path_));
  fs::remove(journal_);
}

TEST_F(JournaledXMLFileTest, AHeldLockFailsEveryOperation) {
  WriteFile(path_, "damaged");
  EXPECT_FALSE(file_.Load());
  TextFile holder(path_);
  const kxl::FileLock lock(holder);
  EXPECT_FALSE(file_.Load() || file_.Save() || file_.Remove() || file_.Recover());
  EXPECT_EQ(ReadFile(path_), "damaged");
  EXPECT_TRUE(holder.Recover() && holder.Write("inside")) << "inside the holder's scope";
  EXPECT_TRUE(holder.IsLocked());
  EXPECT_FALSE(TextFile("").Lock());
}

int LockGuarded(const Link& /*parent*/, const Arguments& arguments) {
  TextFile file(arguments[0]);
  file.GuardFolder();
  return file.Lock() ? 1 : 0;
}

// As in a sandbox with locks of its own, the named lock is there for everybody: it was broken.
TEST_F(JournaledXMLFileTest, TheGuardKeepsOutWhoDoesNotSeeTheLock) {
  TextFile other(path_);
  file_.GuardFolder();
  other.GuardFolder();
  ASSERT_TRUE(file_.Lock());
  ASSERT_TRUE(esd::ResourceLocker(path_, 0).Unlock(esd::Force::kYes));
  EXPECT_FALSE(other.Lock());
  EXPECT_EQ(ChildProcess(LockGuarded, {path_}).Exit(), 0);
  const pid_t child = fork();  // which is to hold nothing, and lives on
  if (child == 0) _exit(prctl(PR_SET_PDEATHSIG, SIGKILL) + pause());
  EXPECT_FALSE(file_.Unlock());
  EXPECT_TRUE(other.Lock() && other.Unlock());
  EXPECT_EQ(ChildProcess(LockGuarded, {path_}).Exit(), 1);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST_F(JournaledXMLFileTest, RecoversDamageAndNothingElse) {
  const std::string aside = path_ + ".damaged";
  WriteFile(aside, "older");
  WriteFile(path_, "<damaged");
  EXPECT_TRUE(file_.Recover());
  EXPECT_EQ(ReadFile(aside), "<damaged") << "the newer one is worth more";
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_TRUE(file_.Recover());
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_TRUE(file_.Write("new"));
  fs::remove(path_);
  fs::create_directory(path_);
  EXPECT_FALSE(file_.Recover());
  EXPECT_TRUE(fs::is_directory(path_));
}

int SaveWithoutNumbers(const Link& /*parent*/, const Arguments& arguments) {
  TextFile file(arguments[0]);
  if (file.Read() != "old") return 2;
  close(STDIN_FILENO);  // whose number the journal gets first
  FailSystemCall(kFcntlCall, EIO);
  return file.Save();
}

TEST_F(JournaledXMLFileTest, AJournalThatWasMadeInVainGoes) {
  WriteFile(path_, FileText("old"));
  EXPECT_EQ(ChildProcess(SaveWithoutNumbers, {path_}).Exit(), 0);
  EXPECT_EQ(ReadFile(path_), FileText("old"));
  EXPECT_FALSE(fs::exists(journal_));
}

int UseAFileWithoutRights(const Link& /*parent*/, const Arguments& arguments) {
  if (setuid(65534) != 0) return -1;
  TextFile file(arguments[0]);
  const bool loads = file.Load();
  return loads + 2 * file.Write("new") + 4 * file.Recover() + 8 * (loads && file.Remove());
}

// Nobody knows what it holds; only a journal known to be empty can hold nothing.
TEST_F(JournaledXMLFileTest, WhatMayNotBeReadIsNeitherDamagedNorReplaced) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  chmod(TestFolder().c_str(), 0777);
  const std::string text = FileText("text");
  const std::tuple<std::string, mode_t, std::string, int> cases[] = {
      {text, 0600, "", 0},
      {text, 0644, FileText("newer"), 1 + 4},
      {"<damaged", 0644, FileText("newer"), 0},
      {text, 0666, "", 1 + 2 + 4 + 8}};
  for (const auto& [main, mode, journal, done] : cases) {
    WriteFile(path_, main);
    chmod(path_.c_str(), mode);
    if (mode != 0600) WriteFile(journal_, journal);
    chmod(journal_.c_str(), 0600);
    EXPECT_EQ(ChildProcess(UseAFileWithoutRights, {path_}).Exit(), done) << main;
    EXPECT_TRUE((done & 2) != 0 || ReadFile(path_) + ReadFile(journal_) == main + journal);
    fs::remove(journal_);
  }
  chmod(TestFolder().c_str(), 0700);
}

}  // namespace
