#include "updates.h"

#include <QLocale>
#include <QtConcurrentRun>
#include <utility>
#include <variant>

using namespace std::chrono_literals;

namespace {

// One question at a time is under way, and so one number is enough.
constexpr std::uint32_t kRequest = 1;
constexpr int kTimes = 30;
constexpr auto kPause = 2s;

// Short, as it is what an editor leaves behind that is killed. Two renewals may fail.
constexpr auto kHold = 1h;
constexpr auto kRenewal = 20min;

}  // namespace

Updates::Updates(kxl::Application editor)
    : editor_(std::move(editor)), language_(QLocale::system().name().toStdString()) {
  worker_.setMaxThreadCount(1);
  connect(&lookTimer_, &QTimer::timeout, this, &Updates::Look);
  connect(&renewalTimer_, &QTimer::timeout, this, [this] { SetHold(kHold); });
}

Updates::~Updates() {
  worker_.clear();
  worker_.start([this] { hold_.reset(); });
  worker_.waitForDone();
}

// A call uses what never changes, or the hold. This object outlives it, as the call and what
// follows it need.
template <typename Call, typename Then>
void Updates::Run(Call call, Then then) {
  QtConcurrent::run(&worker_, std::move(call)).then(this, std::move(then));
}

void Updates::Start() {
  lookTimer_.start(24h);
  Look();
}

void Updates::Look() {
  Run([] { return kxl::IsUpdateCheckEnabled(); },
      [this](bool enabled) {
        emit ChecksEnabled(enabled);
        if (enabled) CheckWhenDue();
        // Every user may ask, not only one who may check.
        AskWhetherAnUpdateWaits(kTimes);
      });
}

// The library knows whether a check is due, and answers the same when none is.
void Updates::CheckWhenDue() {
  Run([this] { return editor_.TriggerUpdateCheck(kxl::Trigger::kScheduled, language_); },
      [this](kxl::Result result) {
        if (result != kxl::Result::kOk) Say(tr("Daily update check"), result);
      });
}

// While the updater is still looking nobody knows, and what was known before stays.
void Updates::AskWhetherAnUpdateWaits(int times) {
  Run([this] { return editor_.IsUpdateAvailable(kRequest); },
      [this, times](const kxl::Availability& answer) {
        if (const auto* found = std::get_if<kxl::Answered>(&answer)) {
          emit UpdateWaits(found->UpdateWaits());
        } else if (const auto* failed = std::get_if<kxl::Failed>(&answer)) {
          // Where updates are off no user wants to be told so every day.
          if (failed->code != kxl::Result::kNotEnabled) {
            Say(tr("Looking for an update"), failed->code);
          }
        } else if (times > 1) {
          QTimer::singleShot(kPause, this, [this, times] { AskWhetherAnUpdateWaits(times - 1); });
        } else {
          Say(tr("Looking for an update"), kxl::Result::kNotifyPending);
        }
      });
}

void Updates::Check() {
  Run([this] { return editor_.TriggerUpdateCheck(kxl::Trigger::kManual, language_); },
      [this](kxl::Result result) { Say(tr("Update check"), result); });
}

void Updates::FetchDictionary() {
  Run(
      [this] {
        return editor_.DownloadMissingComponents({{"Dictionary", "Spelling", "1.2"}}, language_);
      },
      [this](kxl::Result result) { Say(tr("Asking for the dictionary"), result); });
}

void Updates::HoldNotices(bool hold) { SetHold(hold ? kHold : 0s); }

void Updates::SetHold(std::chrono::seconds length) {
  renewalTimer_.stop();  // so that none comes after a hold's end
  Run(
      [this, length] {
        kxl::ScopedHold hold(editor_, length);  // of no length: clears what there is
        const kxl::HoldAnswer answer = hold.GetAnswer();
        if (answer.code == kxl::Result::kOk) hold_ = std::move(hold);
        return answer;
      },
      [this](const kxl::HoldAnswer& answer) {
        const QDateTime now = QDateTime::currentDateTime();
        if (answer.left > 0s) {
          heldUntil_ = now.addSecs(answer.left->count());  // may be less than was asked for
        } else if (answer.left == 0s || heldUntil_ <= now) {
          heldUntil_ = {};
        }
        if (heldUntil_.isValid()) {
          renewalTimer_.start(kRenewal);
        } else {
          renewalTimer_.stop();
        }
        emit NoticesHeld(heldUntil_);
        Say(tr("Presentation mode"), answer.code);
      });
}

void Updates::Say(const QString& what, kxl::Result result) {
  const std::string sentence = make_error_code(result).message();
  emit Said(tr("%1: %2").arg(what, QString::fromStdString(sentence)));
}
