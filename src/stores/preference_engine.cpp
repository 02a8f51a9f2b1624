#include "stores/preference_engine.h"

#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "esd/number_text.h"
#include "esd/streams.h"
#include "esd/xml_parser.h"
#include "esd/xml_writer.h"
#include "platform/failure_report.h"
#include "platform/regular_file.h"

namespace esd {

namespace {

// Whether what is written from now on gets a later stamp. File systems stamp with the system's
// tick, at most a hundredth of a second, or with one or two whole seconds.
bool IsSettled(const kxl::ModificationStamp& stamp) {
  constexpr std::int64_t kSecond = 1000000000;  // nanoseconds
  std::timespec now;
  if (std::timespec_get(&now, TIME_UTC) == 0) return false;
  const std::int64_t age = (static_cast<std::int64_t>(now.tv_sec) - stamp.seconds) * kSecond +
                           now.tv_nsec - stamp.nanoseconds;
  return age > (stamp.nanoseconds == 0 ? 2 * kSecond : kSecond / 20);
}

}  // namespace

PrefsWriter::PrefsWriter(std::string rootName) : rootName_(std::move(rootName)) { Empty(); }

// The state of a machine without the file: every setting has its default, and the next one that is
// set begins the file.
void PrefsWriter::Empty() {
  document_ = XMLDocumentNode::NewDocument();
  root_ = FindOrCreateChild(document_, rootName_);
  stamp_ = {};
}

void PrefsWriter::Load(const std::string& path) {
  const ScopedLock lock(policy_);
  if (!lock.IsHeld()) return;
  path_ = path;
  Empty();
  if (path.empty()) throw std::runtime_error("Prefs file unable to lock file for reading!");
  // Before the file is read: what is written meanwhile has a later stamp.
  kxl::ModificationStamp stamp;
  kxl::GetModificationStamp(path, stamp);
  isSettled_ = IsSettled(stamp);
  fresh_.clear();
  ExpatDOMBuilder builder;
  const bool parsed = builder.Init() && builder.ParseFile(path, false, kxl::Links::kFollow,
                                                          isSettled_ ? nullptr : &fresh_);
  const int error = errno;
  const ReadStatus status = builder.LastRead();
  isUnreadable_ = status == ReadStatus::kUnreadable;
  isUnknown_ = !parsed && status != ReadStatus::kMissing && status != ReadStatus::kDamaged;
  if (!parsed) {
    // Without the lock, a writer may be in the middle of it.
    if (policy_ != nullptr && status != ReadStatus::kMissing) {
      kxl::ReportFailure(path, status == ReadStatus::kDamaged ? EBADMSG : error);
    }
    if (status == ReadStatus::kDamaged && policy_ != nullptr) kxl::DeleteFile(path);
    return;
  }
  document_ = builder.Document();
  if (const XMLNodePointer root = FindChild(document_, rootName_)) {
    root_ = root;
    stamp_ = stamp;
  } else {
    Empty();  // what is written has our root alone: with two of them it would not parse again
  }
}

bool PrefsWriter::Lock() { return policy_ == nullptr || policy_->IsLocked() || policy_->Lock(); }

bool PrefsWriter::ReloadIfChanged() {
  isUnreadable_ = false;
  if (!Lock()) return false;
  kxl::ModificationStamp stamp;
  const bool exists = kxl::GetModificationStamp(path_, stamp);
  if (!exists || stamp != stamp_ || !(isSettled_ || HoldsWhatWasRead())) Load(path_);
  if (isUnreadable_) Release();
  return !isUnreadable_;
}

// Much less than parsing it once more.
bool PrefsWriter::HoldsWhatWasRead() const {
  std::string text;
  return kxl::ReadRegularFile(path_, text) == kxl::OpenStatus::kOpened && text == fresh_;
}

bool PrefsWriter::Release() {
  return policy_ == nullptr || !policy_->IsLocked() || policy_->Unlock(Force::kNo);
}

// Without the lock even a look is refused: a request that goes on with the defaults must not mix
// them with what a file held before somebody changed it.
bool PrefsWriter::GetElement(std::string_view key, XMLNodePointer& element) const {
  const ScopedLock lock(policy_);
  if (!lock.IsHeld()) return false;
  element = FindChild(root_, key);
  return true;
}

bool PrefsWriter::GetText(std::string_view key, std::string& text) const {
  XMLNodePointer element;
  if (!GetElement(key, element)) return false;
  text = element ? element->GetText() : std::string_view();
  return true;
}

bool PrefsWriter::SetText(std::string_view key, std::string_view text) {
  const ScopedLock lock(policy_);
  if (!lock.IsHeld()) return false;
  FindOrCreateChild(root_, key)->SetText(text);
  return Write();
}

bool PrefsWriter::ReplaceElement(const XMLNodePointer& element) {
  const ScopedLock lock(policy_);
  if (!lock.IsHeld() || !ReadsBackUnchanged(*element)) return false;
  root_->RemoveChildrenIf(NameIs(element->GetName()));
  root_->AddChild(element);
  return Write();
}

bool PrefsWriter::EndChanges() {
  isChanging_ = false;
  return !std::exchange(isChanged_, false) || WriteFile();
}

bool PrefsWriter::Write() {
  if (!isChanging_) return WriteFile();
  isChanged_ = true;
  return !isUnknown_;
}

bool PrefsWriter::WriteFile() {
  std::string text;  // whole before the file loses what it had: memory may run out
  if (isUnknown_ || !PrintNode(*document_, text)) return false;
  kxl::ESDofstream file(path_, kxl::FileAccess::kReplace);
  file.Write(text);
  const bool written = file.Close();
  if (!written) kxl::ReportFailure(path_, file.Error());
  kxl::GetModificationStamp(path_, stamp_);
  isSettled_ = false;
  fresh_ = std::move(text);
  return written;
}

bool ParseValue(std::string_view text, bool& value) {
  std::int32_t number;
  if (!ParseInteger(text, number) || (number != 0 && number != 1)) return false;
  value = number == 1;
  return true;
}

bool ParseValue(std::string_view text, std::int32_t& value) { return ParseInteger(text, value); }

bool ParseValue(std::string_view text, std::string& value) {
  value = text;
  return true;
}

std::string FormatValue(bool value) { return value ? "1" : "0"; }

std::string FormatValue(std::int32_t value) { return std::to_string(value); }

std::string FormatValue(const std::string& value) { return value; }

}  // namespace esd
