#include "updater/availability_answer.h"

#include <csignal>
#include <sstream>
#include <utility>

#include "esd/streams.h"
#include "esd/xml_writer.h"
#include "platform/file_copy.h"
#include "platform/file_system.h"
#include "stores/lock_files.h"
#include "updater/catalogue.h"
#include "util/trace_log.h"

namespace updater {

namespace {

using Kind = Misbehaviour::Kind;

std::string AnswerDocument(bool hasUpdate) {
  const esd::XMLNodePointer document = esd::XMLDocumentNode::NewDocument();
  const esd::XMLNodePointer info = esd::FindOrCreateChild(document, "UpdateInfo");
  esd::FindOrCreateChild(info, "Result")->SetText(hasUpdate ? "1" : "0");
  std::string text;
  esd::PrintNode(*document, text);
  return text;
}

// Through a companion: a reader finds a whole answer or none.
bool WriteAnswer(const std::string& path, const std::string& text) {
  if (!path.starts_with('/')) return false;  // the library found no folder for it
  const std::string companion = path + "_";
  kxl::ESDofstream file(companion, kxl::FileAccess::kReplace, kxl::Links::kRefuse);
  file.Write(text);
  const bool written = file.Close() && kxl::FileExchange(path, companion);
  kxl::DeleteFile(companion);
  return written;
}

}  // namespace

AvailabilityQuery::AvailabilityQuery(std::string appId, std::string answerPath)
    : appId_(std::move(appId)),
      answerPath_(std::move(answerPath)),
      lock_(kxl::RequestLockName(appId_), 1000),
      isOurs_(lock_.Lock()) {}

bool AvailabilityQuery::Answer(const Misbehaviour& misbehaviour) const {
  if (!isOurs_) {
    kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, "Another updater is answering.");
    return true;
  }
  kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, "Answering.");
  DelayIfLate(misbehaviour);
  if (misbehaviour.kind == Kind::kDie) std::raise(SIGKILL);
  if (misbehaviour.kind == Kind::kNever) return true;

  const bool hasUpdate = Catalogue().HasUpdate(appId_);
  kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes,
                  (hasUpdate ? "An update waits for " : "No update waits for ") + appId_);
  std::string answer = AnswerDocument(hasUpdate);
  if (misbehaviour.kind == Kind::kGarbage) answer = "no answer at all";
  if (misbehaviour.kind == Kind::kHalf) answer.resize(answer.size() / 2);
  return WriteAnswer(answerPath_, answer);
}

}  // namespace updater
