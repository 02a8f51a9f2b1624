// XML files that other processes share and that must never be found half written.
//
// A file is always written completely to its journal, the companion named by appending '_' to the
// path, synced to disk and then exchanged with the real file; the journal, which now holds the old
// content, is deleted. Whoever reads finds the old state or the new one. A journal that is found at
// loading was left by a process that died: a complete one was being exchanged and wins, a torn one
// (an empty one too, whoever may open it) is discarded. One that cannot be opened or read may be
// the newer state: the file is read as it is then, and neither written nor removed until that
// journal has gone or can be read. A folder of the journal's name is left, and counts as none.
// Atomic by the exchange of names; durable in that the new content is on the disk before its name
// is (the folder itself is not synced: a power cut may bring the old state back).
#ifndef KXL_ESD_JOURNALED_XML_FILE_H
#define KXL_ESD_JOURNALED_XML_FILE_H

#include <cstdint>
#include <optional>
#include <string>

#include "esd/resource_locker.h"
#include "esd/streams.h"
#include "esd/xml_document.h"
#include "esd/xml_parser.h"
#include "platform/folder_guard.h"

namespace kxl {

// Without a lock: for a single writer. Every operation answers false on failure; none throws for
// what the file system says.
class JournaledXMLFile {
 public:
  virtual ~JournaledXMLFile() = default;

  const std::string& Path() const { return path_; }
  const std::string& JournalPath() const { return journalPath_; }

  // Moves the file and its object to another path. A file at the old path is copied to the new one,
  // which must be free, and then deleted with its journal. On failure everything stays as it was.
  bool SetPath(const std::string& newPath);

  // From now on a link in the file's place counts as damage: for whoever may read more than those
  // who can lay one there. A link in the journal's place is never followed.
  void RefuseLinks() { links_ = Links::kRefuse; }

  // Writes the document. False leaves the file as it was (also for a document that would not read
  // back, and beside a journal that the last Load could not read); its new content may then still
  // come into force at the next Load, when only the exchange of names has failed.
  virtual bool Save();

  // Reads the file, or a journal in its place, and hands the document to OnLoaded. A missing file
  // is an empty document. False when the file cannot be read (LastRead tells why), or OnLoaded's
  // answer.
  virtual bool Load();

  // Deletes journal and file and drops the document. False, with the file left, when either cannot
  // be deleted, or the last Load has met a journal that it could not read.
  virtual bool Remove();

 protected:
  // What the derived class does with a document that was just read, before anybody else sees it.
  virtual bool OnLoaded(const esd::XMLNodePointer& document);

  // Gives the file its mode before it takes its name, so that nobody meets it with another one.
  // Here: readable and writable for all, whatever the umask took away.
  virtual bool SetFileMode(ESDofstream& file);

  const esd::XMLNodePointer& Document() const { return builder_.Document(); }
  esd::ReadStatus LastRead() const { return builder_.LastRead(); }
  bool IsJournalUnknown() const { return journal_ == Journal::kUnknown; }
  // Whether the last Save has refused what the document holds, as it would do again.
  bool IsRefused() const { return isRefused_; }

 private:
  enum class Journal { kNone, kRestored, kUnknown };
  Journal RestoreFromJournal();
  bool WriteJournal(const std::string& text);
  bool DiscardJournal();

  esd::ExpatDOMBuilder builder_;
  std::string path_;
  std::string journalPath_;
  Journal journal_ = Journal::kNone;  // what the last Load has met
  bool isRefused_ = false;
  Links links_ = Links::kFollow;
};

// With a machine-wide lock, named like the file's path, around every operation. An operation inside
// another one does not lock again.
class JournaledXMLLockedFile : public JournaledXMLFile {
 public:
  // Waits for the lock as long as given, in milliseconds.
  explicit JournaledXMLLockedFile(std::uint32_t waitMilliseconds);

  // From now on the lock comes with a guard on the file's folder (folder_guard.h), for a file that
  // processes with different locks may share. The wait is one for both; neither is held while the
  // other one is waited for.
  void GuardFolder() { guardsFolder_ = true; }

  bool Save() override;
  bool Load() override;
  bool Remove() override;

  bool Lock();  // false when the wait was in vain, or there is no path
  bool Unlock();
  bool IsLocked() const;

  // Makes a file usable again with which an operation has failed. A file that loads, or has been
  // loaded since the lock was taken, is left as it is. One that was read and is damaged is set
  // aside as path + ".damaged" (an older one of that name is replaced), and the file begins anew.
  // False, with everything left as it is, when the lock is not to be had, when the file or its
  // journal cannot be opened or read, and when setting aside fails.
  bool Recover();

 private:
  std::uint32_t waitMilliseconds_;
  std::optional<esd::ResourceLocker> locker_;
  FolderGuard guard_;
  bool guardsFolder_ = false;
  std::optional<bool> loaded_;  // what Load has answered since the lock was taken
};

// Holds a file's lock for a scope, unless an outer scope holds it already.
class FileLock {
 public:
  explicit FileLock(JournaledXMLLockedFile& file);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool IsHeld() const { return file_.IsLocked(); }

 private:
  JournaledXMLLockedFile& file_;
  bool tookIt_;
};

}  // namespace kxl

#endif  // KXL_ESD_JOURNALED_XML_FILE_H
