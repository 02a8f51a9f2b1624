// A host application with a window: what belongs on which thread, and what a user sees of it.
//
//   updates.h         the calls, which a worker thread makes
//   editor_window.h   what they have answered, in menus, a bar and the status line
//   spelling.h        a component that may be missing: the dictionary
#include <QApplication>

#include "editor_window.h"
#include "updates.h"

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  // In the order in which they go at the end, from the last: no window stands there while the
  // process waits for a call.
  Updates updates(
      {"com.example.editor", "Example Editor", QApplication::applicationDirPath().toStdString()});
  EditorWindow window(updates);
  window.show();
  updates.Start();
  return QApplication::exec();
}
