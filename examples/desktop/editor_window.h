// The editor's window: shows what Updates tells, and never waits for it.
#ifndef EXAMPLES_DESKTOP_EDITOR_WINDOW_H
#define EXAMPLES_DESKTOP_EDITOR_WINDOW_H

#include <QAction>
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>

class Spelling;
class Updates;

class EditorWindow : public QMainWindow {
  Q_OBJECT

 public:
  // The updates have to outlive the window.
  explicit EditorWindow(Updates& updates);

 private:
  void MakeMenus();
  QWidget* MakeUpdateBar();
  void FollowUpdates();
  void ShowDictionary();

  Updates& updates_;
  QPlainTextEdit* text_;
  Spelling* spelling_;
  QAction* present_ = nullptr;
  QAction* fetchDictionary_ = nullptr;
  QAction* check_ = nullptr;
  QLabel* held_;
};

#endif  // EXAMPLES_DESKTOP_EDITOR_WINDOW_H
