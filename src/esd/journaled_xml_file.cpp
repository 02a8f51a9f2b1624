#include "esd/journaled_xml_file.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "esd/xml_writer.h"
#include "platform/failure_report.h"
#include "platform/file_copy.h"
#include "platform/file_system.h"
#include "platform/path.h"

namespace kxl {

namespace {

constexpr mode_t kReadWriteForAll = 0666;
constexpr std::size_t kLargestEntry = 8192;  // bytes, of the longest texts, escaped

}  // namespace

bool JournaledXMLFile::SetPath(const std::string& newPath) {
  const std::string oldPath = path_;
  const std::string oldJournal = journalPath_;
  const bool moves = !oldPath.empty() && oldPath != newPath;
  // Copied before the old one goes: who is killed in between leaves two files, and never none.
  if (moves && PathExists(oldPath) && !CopyFile(oldPath, newPath)) return false;
  path_ = newPath;
  journalPath_ = newPath + "_";
  if (moves) {
    DeleteFile(oldPath);
    DeleteFile(oldJournal);
  }
  return true;
}

bool JournaledXMLFile::Save() {
  isRefused_ = false;
  if (IsJournalUnknown() || !Document()) return false;
  // A document that would not parse again must not take the place of one that does.
  std::string text;
  // What was read and one entry more, in one piece: grown by doubling it would take twice that.
  text.reserve(builder_.TextSize() + kLargestEntry);
  isRefused_ = !esd::PrintNode(*Document(), text);
  if (isRefused_) {
    ReportFailure(path_, EBADMSG);
    return false;
  }
  if (!WriteJournal(text)) return false;
  // What stands under the journal's name after the exchange is the old content. Somebody who is
  // killed before it is deleted leaves it there, to be taken for a newer state by the next load:
  // that is the price of an exchange that no reader ever sees half done.
  return DoneOrReport(FileExchange(path_, journalPath_), path_) &&
         DoneOrReport(DiscardJournal(), journalPath_);
}

bool JournaledXMLFile::WriteJournal(const std::string& text) {
  ESDofstream journal(journalPath_, FileAccess::kReplace, Links::kRefuse);
  if (!journal.IsOpen()) {
    ReportFailure(journalPath_, journal.Error());
    // One that was made, but could not be taken into use.
    if (IsEmptyFile(journalPath_)) DeleteFile(journalPath_);
    return false;
  }
  // The mode comes first: a journal that a dying process leaves must be readable for the next one.
  // A full disk shows at any of the others.
  const bool isWritten = SetFileMode(journal) && journal.Write(text) && journal.Sync();
  if (journal.Close() && isWritten) return true;
  ReportFailure(journalPath_, journal.Error());
  DeleteFile(journalPath_);
  return false;
}

// An empty journal is a torn one: where it cannot be deleted, that does as well.
bool JournaledXMLFile::DiscardJournal() {
  return DeleteFile(journalPath_) ||
         ESDofstream(journalPath_, FileAccess::kReplace, Links::kRefuse).IsOpen();
}

JournaledXMLFile::Journal JournaledXMLFile::RestoreFromJournal() {
  if (builder_.ParseFile(journalPath_, false, Links::kRefuse)) {
    const bool inForce = !IsFolder(path_) && FileExchange(journalPath_, path_) && DiscardJournal();
    // A user who may only read cannot bring the file to the newer state; without a file the journal
    // is the state.
    return inForce || !PathExists(path_) ? Journal::kRestored : Journal::kNone;
  }
  const int error = errno;
  switch (LastRead()) {
    case esd::ReadStatus::kMissing:
    case esd::ReadStatus::kFolder:
      return Journal::kNone;
    case esd::ReadStatus::kDamaged:
      DeleteFile(journalPath_);
      return Journal::kNone;
    default:
      // Its maker may have died before it got its mode, which is before anything was written.
      if (IsEmptyFile(journalPath_) && DeleteFile(journalPath_)) return Journal::kNone;
      ReportFailure(journalPath_, error);
      return Journal::kUnknown;
  }
}

bool JournaledXMLFile::Load() {
  if (!builder_.Init()) return false;
  journal_ = RestoreFromJournal();
  if (journal_ == Journal::kRestored) return OnLoaded(Document());
  if (LastRead() != esd::ReadStatus::kMissing && !builder_.Init()) return false;
  if (!builder_.ParseFile(path_, false, links_) && LastRead() != esd::ReadStatus::kMissing) {
    ReportFailure(path_, LastRead() == esd::ReadStatus::kDamaged ? EBADMSG : errno);
    return false;
  }
  return OnLoaded(Document());
}

bool JournaledXMLFile::Remove() {
  if (IsJournalUnknown()) return false;
  if (!DoneOrReport(DeleteFile(journalPath_) || IsFolder(journalPath_), journalPath_) ||
      !DoneOrReport(DeleteFile(path_), path_)) {
    return false;
  }
  builder_.Reset();
  return true;
}

bool JournaledXMLFile::OnLoaded(const esd::XMLNodePointer& /*document*/) { return true; }

// Lists that no rule of their own makes narrower are for every user to change.
bool JournaledXMLFile::SetFileMode(ESDofstream& file) { return file.AddModeBits(kReadWriteForAll); }

JournaledXMLLockedFile::JournaledXMLLockedFile(std::uint32_t waitMilliseconds)
    : waitMilliseconds_(waitMilliseconds) {}

bool JournaledXMLLockedFile::Save() {
  const FileLock lock(*this);
  return lock.IsHeld() && JournaledXMLFile::Save();
}

bool JournaledXMLLockedFile::Load() {
  const FileLock lock(*this);
  if (!lock.IsHeld()) return false;
  loaded_ = false;  // also when it throws
  loaded_ = JournaledXMLFile::Load();
  return *loaded_;
}

bool JournaledXMLLockedFile::Remove() {
  const FileLock lock(*this);
  return lock.IsHeld() && JournaledXMLFile::Remove();
}

bool JournaledXMLLockedFile::Lock() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kPause(1);
  if (Path().empty()) return false;
  loaded_.reset();
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(waitMilliseconds_);
  for (std::uint32_t wait = waitMilliseconds_;;) {
    if (!IsLocked()) locker_.emplace(Path(), wait);
    if (!locker_->Lock()) return false;
    if (!guardsFolder_ || guard_.TryTake(ParentPath(Path()))) return true;
    locker_.reset();  // also when somebody has broken it meanwhile, and it cannot be unlocked
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left < kPause) {
      ReportFailure(ParentPath(Path()), EWOULDBLOCK);
      return false;
    }
    std::this_thread::sleep_for(kPause);
    wait = static_cast<std::uint32_t>(left.count() - kPause.count());
  }
}

bool JournaledXMLLockedFile::Unlock() {
  guard_.Release();
  return IsLocked() && locker_->Unlock(esd::Force::kNo);
}

bool JournaledXMLLockedFile::IsLocked() const { return locker_ && locker_->IsLocked(); }

bool JournaledXMLLockedFile::Recover() {
  const FileLock lock(*this);
  if (!lock.IsHeld()) return false;
  // Not looked at twice: a file that somebody has made up may take a second each time.
  if (loaded_ ? *loaded_ : Load()) return true;
  if (LastRead() != esd::ReadStatus::kDamaged || IsJournalUnknown()) return false;
  // Somebody may still want to look at what is left of it, or put it back entry by entry.
  const std::string aside = Path() + ".damaged";
  return DoneOrReport(std::rename(Path().c_str(), aside.c_str()) == 0, aside) && Remove();
}

// An operation that calls another one holds the lock over both: given back in between, somebody
// else could change the file under the first one's feet.
FileLock::FileLock(JournaledXMLLockedFile& file)
    : file_(file), tookIt_(!file.IsLocked() && file.Lock()) {}

FileLock::~FileLock() {
  if (tookIt_) file_.Unlock();
}

}  // namespace kxl
