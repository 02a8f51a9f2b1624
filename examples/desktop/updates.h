// The editor and the updater. A call may wait for seconds while somebody else holds a lock, so a
// worker thread makes each of them, one after the other. Everything else, the signals too, is on
// the thread that has made the object.
#ifndef EXAMPLES_DESKTOP_UPDATES_H
#define EXAMPLES_DESKTOP_UPDATES_H

#include <QDateTime>
#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <chrono>
#include <kxl/kxl.hpp>
#include <optional>
#include <string>

class Updates : public QObject {
  Q_OBJECT

 public:
  explicit Updates(kxl::Application editor);
  // Ends the hold. Waits for the call under way, and gives up those that were to follow: destroy it
  // when the window has gone.
  ~Updates() override;

  // Looks whether checks are enabled, a scheduled one is due and an update waits; now, and every
  // day.
  void Start();

  // The user asks for a check; the updater shows itself.
  void Check();

  // Holds update notices back until it is called with false or the object goes. A hold that could
  // not be renewed or cleared goes on, and NoticesHeld tells that it does.
  void HoldNotices(bool hold);

  // Asks for the dictionary, which the updater fetches when it can; see spelling.h.
  void FetchDictionary();

 signals:
  void ChecksEnabled(bool enabled);
  void UpdateWaits(bool waits);              // only when the updater has answered
  void NoticesHeld(const QDateTime& until);  // invalid: no hold
  void Said(const QString& sentence);        // what a call has answered, for the user

 private:
  template <typename Call, typename Then>
  void Run(Call call, Then then);
  void Look();
  void CheckWhenDue();
  void AskWhetherAnUpdateWaits(int times);
  void SetHold(std::chrono::seconds length);
  void Say(const QString& what, kxl::Result result);

  const kxl::Application editor_;
  const std::string language_;
  QTimer lookTimer_;
  QTimer renewalTimer_;
  QDateTime heldUntil_;
  std::optional<kxl::ScopedHold> hold_;  // the worker's: setting and clearing it are calls
  QThreadPool worker_;
};

#endif  // EXAMPLES_DESKTOP_UPDATES_H
