// The desktop example by its menus, on a test machine with the reference updater. KXL_PICTURE names
// a file for a picture of the window.
#include <QElapsedTimer>
#include <QMenuBar>
#include <QScreen>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "editor_window.h"
#include "esd/resource_locker.h"
#include "updates.h"

namespace {

using namespace std::chrono_literals;

const kxl::Application kEditor{"com.example.window", "Editor", "/opt/editor"};
const std::string kRoot = qEnvironmentVariable("KXL_ROOT").toStdString();
const std::string kData =
    qEnvironmentVariable("HOME").toStdString() + "/.local/share/Kelda/Updater6";

void Write(const std::string& path, const char* text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << text;
}

bool UpdaterHasLogged(const char* text) {
  std::ifstream log(kData + "/kxl.log");
  return std::string(std::istreambuf_iterator<char>(log), {}).find(text) != std::string::npos;
}

QAction* Find(const QWidget* menu, const QString& text) {
  const QList<QAction*> actions = menu->actions();
  return *std::find_if(actions.begin(), actions.end(),
                       [&](const QAction* action) { return action->text().remove('&') == text; });
}

class DesktopTest : public QObject {
  Q_OBJECT

 private slots:
  void NoCommandWhereChecksAreOff();
  void WhatTheUpdaterDoesIsSeen();
  void ACallThatWaitsKeepsTheWindowAlive();

 private:
  void Open();
  QMenu* OpenMenu(const QString& title);
  void Choose(const QString& menu, const QString& command);
  qint64 LongestPauseInAVainCall();
  QString Message() const { return window_->statusBar()->currentMessage(); }

  std::unique_ptr<Updates> updates_;
  std::unique_ptr<EditorWindow> window_;  // goes first
};

void DesktopTest::Open() {
  window_.reset();
  updates_ = std::make_unique<Updates>(kEditor);
  window_ = std::make_unique<EditorWindow>(*updates_);
  window_->show();
  QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
  QSignalSpy enabled(updates_.get(), &Updates::ChecksEnabled);
  updates_->Start();
  QTRY_COMPARE(enabled.count(), 1);
}

QMenu* DesktopTest::OpenMenu(const QString& title) {
  QMenuBar* bar = window_->menuBar();
  QAction* entry = Find(bar, title);
  QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(entry).center());
  (void)QTest::qWaitForWindowExposed(entry->menu());
  return entry->menu();
}

void DesktopTest::Choose(const QString& menu, const QString& command) {
  QMenu* opened = OpenMenu(menu);
  // By the keyboard: at a press that no pointer has made, a menu of Qt 6.8 closes.
  opened->setActiveAction(Find(opened, command));
  QTest::keyClick(opened, Qt::Key_Return);
}

void DesktopTest::NoCommandWhereChecksAreOff() {
  const std::string adminSwitch = kRoot + "/etc/com.kelda.updater6.Admin.plist";
  Write(adminSwitch,
        R"(<plist version="1.0"><dict><key>Disable.Update</key><true/></dict></plist>)");
  Open();
  QVERIFY(!Find(OpenMenu("Help"), "Check for updates")->isVisible());
  std::filesystem::remove(adminSwitch);
}

void DesktopTest::WhatTheUpdaterDoesIsSeen() {
  QCOMPARE(kEditor.Register(), kxl::Result::kOk);
  const std::string catalogue = kRoot + "/var/lib/Kelda/Updater6/Catalogue/";
  Write(catalogue + "catalogue.xml", R"(<Catalogue><Update appID="com.example.window"/>
      <Component name="Dictionary" category="Spelling" version="1.2" file="dictionary.dat"/></Catalogue>)");
  Write(catalogue + "dictionary.dat",
        "a aardvark aardvarks against allowed and ants are command dictionary eats editor for has "
        "help notices on one teaches the they updates view where which words");
  Open();
  auto* bar = window_->findChild<QWidget*>("updateBar");
  QSignalSpy answers(updates_.get(), &Updates::UpdateWaits);
  QTRY_VERIFY_WITH_TIMEOUT(bar->isVisible(), 10000);
  QCOMPARE(answers.count(), 1);  // pending is no answer
  Choose("Help", "Check for updates");
  QTRY_COMPARE(Message(), "Update check: Done.");
  QTRY_VERIFY(UpdaterHasLogged("Manual check"));

  Choose("Edit", "Get the dictionary");
  QTRY_COMPARE(Message(), "Asking for the dictionary: Done.");
  QTRY_VERIFY(!Find(Find(window_->menuBar(), "Edit")->menu(), "Get the dictionary")->isVisible());

  Choose("View", "Presentation mode");
  QTRY_VERIFY(kEditor.RemainingHold().left > 0s);
  Choose("View", "Presentation mode");
  QTRY_VERIFY(kEditor.RemainingHold().left == 0s);
  Choose("View", "Presentation mode");
  QTRY_VERIFY(kEditor.RemainingHold().left > 0s);

  const QString picture = qEnvironmentVariable("KXL_PICTURE");
  if (!picture.isEmpty()) {
    QMenu* menu = OpenMenu("Help");
    QTest::mouseMove(menu, menu->actionGeometry(Find(menu, "Check for updates")).center());
    updates_->Check();
    QTRY_COMPARE(Message(), "Update check: Done.");
    const QPixmap screen = window_->screen()->grabWindow(0);
    QVERIFY(screen.copy(window_->frameGeometry()).save(picture));
  }
  window_.reset();
  updates_.reset();
  QVERIFY(kEditor.RemainingHold().left == 0s);
}

// In milliseconds, of the event loop.
qint64 DesktopTest::LongestPauseInAVainCall() {
  qint64 longest = 0;
  QElapsedTimer sinceTick;
  QTimer ticks;
  connect(&ticks, &QTimer::timeout, this,
          [&] { longest = std::max(longest, sinceTick.restart()); });
  QSignalSpy said(updates_.get(), &Updates::Said);
  ticks.start(1ms);
  sinceTick.start();
  Choose("View", "Presentation mode");
  said.wait(6000);
  return std::max(longest, sinceTick.elapsed());
}

void DesktopTest::ACallThatWaitsKeepsTheWindowAlive() {
  Open();
  esd::ResourceLocker lock(kData + "/suppress_all.dat", 1000);
  QVERIFY(lock.Lock());
  QElapsedTimer waited;
  waited.start();
  qint64 pause = LongestPauseInAVainCall();
  QVERIFY(waited.elapsed() > 2900);
  QVERIFY(Message().startsWith("Presentation mode: Another application"));
  // A busy machine pauses everybody now and then.
  for (int tries = 1; tries < 3 && pause >= 50; ++tries) pause = LongestPauseInAVainCall();
  qInfo("The event loop has paused for %lld ms at most.", pause);
  QVERIFY(pause < 50);
  QVERIFY(!Find(Find(window_->menuBar(), "View")->menu(), "Presentation mode")->isChecked());

  Choose("View", "Presentation mode");
  auto* text = window_->findChild<QPlainTextEdit*>();
  QTest::keyClicks(text, "Meanwhile ", {}, 10);
  QVERIFY(text->toPlainText().startsWith("Meanwhile "));
  waited.restart();
  window_->close();
  window_.reset();
  QVERIFY(waited.elapsed() < 500);
  updates_.reset();
  QVERIFY(waited.elapsed() > 2000);  // the call was under way
}

}  // namespace

QTEST_MAIN(DesktopTest)
#include "desktop_test.moc"
