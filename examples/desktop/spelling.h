// Underlines the words that are not in the dictionary. While there is none it underlines nothing,
// and waits for the updater to put one where it puts what it has fetched.
#ifndef EXAMPLES_DESKTOP_SPELLING_H
#define EXAMPLES_DESKTOP_SPELLING_H

#include <QFileSystemWatcher>
#include <QSet>
#include <QString>
#include <QSyntaxHighlighter>

class Spelling : public QSyntaxHighlighter {
  Q_OBJECT

 public:
  explicit Spelling(QTextDocument* document);

  bool HasDictionary() const { return !words_.isEmpty(); }

 signals:
  void DictionaryArrived();

 protected:
  void highlightBlock(const QString& text) override;

 private:
  void Look();
  void Read();

  const QString path_;
  QFileSystemWatcher watcher_;
  QSet<QString> words_;  // in lower case
};

#endif  // EXAMPLES_DESKTOP_SPELLING_H
