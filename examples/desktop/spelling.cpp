#include "spelling.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

// The folder is the updater's, unless its preferences name another one.
Spelling::Spelling(QTextDocument* document)
    : QSyntaxHighlighter(document),
      path_(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
            "/Kelda/Updater6/Install/dictionary.dat") {
  connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &Spelling::Look);
  Look();
}

// The folder may not be there yet, and then the nearest one above it that is tells of the next.
// What comes between a look and the watch that it sets is found by looking once more.
void Spelling::Look() {
  while (!HasDictionary()) {
    Read();
    QString folder = path_;
    do {
      folder = QFileInfo(folder).path();
    } while (!QFileInfo::exists(folder));
    if (watcher_.directories().contains(folder) || !watcher_.addPath(folder)) return;
  }
}

// Under its name the updater puts a whole file or none.
void Spelling::Read() {
  QFile file(path_);
  if (!file.open(QIODevice::ReadOnly)) return;
  const QString text = QString::fromUtf8(file.readAll()).toLower().simplified();
  const QStringList words = text.split(' ', Qt::SkipEmptyParts);
  words_ = {words.begin(), words.end()};
  if (!HasDictionary()) return;
  rehighlight();
  emit DictionaryArrived();
}

void Spelling::highlightBlock(const QString& text) {
  static const QRegularExpression kWord("\\p{L}+");
  if (!HasDictionary()) return;
  QTextCharFormat unknown;
  unknown.setUnderlineStyle(QTextCharFormat::SpellCheckUnderline);
  for (auto words = kWord.globalMatch(text); words.hasNext();) {
    const QRegularExpressionMatch word = words.next();
    if (words_.contains(word.captured().toLower())) continue;
    setFormat(static_cast<int>(word.capturedStart()), static_cast<int>(word.capturedLength()),
              unknown);
  }
}
