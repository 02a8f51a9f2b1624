#include "editor_window.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLocale>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>
#include <chrono>

#include "spelling.h"
#include "updates.h"

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kReadingTime = 10s;

}  // namespace

EditorWindow::EditorWindow(Updates& updates)
    : updates_(updates),
      text_(new QPlainTextEdit),
      spelling_(new Spelling(text_->document())),
      held_(new QLabel) {
  setWindowTitle(tr("Example Editor"));
  resize(600, 300);
  text_->setPlainText(
      tr("On aardvarks\n"
         "============\n\n"
         "The aardvark eats ants.\n"
         "Help has a command for updates, where they are allowed, and View one against notices.\n"
         "A dictionary teaches the editor which words are mispelt."));
  MakeMenus();
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  layout->addWidget(text_);
  layout->addWidget(MakeUpdateBar());
  setCentralWidget(content);
  statusBar()->addPermanentWidget(held_);
  FollowUpdates();
  ShowDictionary();
}

void EditorWindow::MakeMenus() {
  QMenu* file = menuBar()->addMenu(tr("&File"));
  file->addAction(tr("&Quit"), QKeySequence::Quit, this, &QWidget::close);

  QMenu* edit = menuBar()->addMenu(tr("&Edit"));
  edit->addAction(tr("&Undo"), QKeySequence::Undo, text_, &QPlainTextEdit::undo);
  edit->addAction(tr("&Redo"), QKeySequence::Redo, text_, &QPlainTextEdit::redo);
  fetchDictionary_ =
      edit->addAction(tr("Get the &dictionary"), &updates_, &Updates::FetchDictionary);

  QMenu* view = menuBar()->addMenu(tr("&View"));
  present_ = view->addAction(tr("&Presentation mode"), &updates_, &Updates::HoldNotices);
  present_->setCheckable(true);

  QMenu* help = menuBar()->addMenu(tr("&Help"));
  help->addAction(tr("About &Qt"), qApp, &QApplication::aboutQt);
  check_ = help->addAction(tr("&Check for updates"), &updates_, &Updates::Check);
  check_->setVisible(false);  // until it is known that it is of use
}

QWidget* EditorWindow::MakeUpdateBar() {
  auto* bar = new QWidget;
  bar->setObjectName("updateBar");
  bar->setAutoFillBackground(true);
  bar->setBackgroundRole(QPalette::Highlight);
  bar->hide();
  auto* sentence = new QLabel(tr("An update is waiting."));
  sentence->setForegroundRole(QPalette::HighlightedText);
  auto* show = new QPushButton(tr("&Show"));
  auto* later = new QPushButton(tr("&Later"));
  auto* layout = new QHBoxLayout(bar);
  layout->addWidget(sentence);
  layout->addStretch();
  layout->addWidget(show);
  layout->addWidget(later);
  connect(show, &QPushButton::clicked, &updates_, &Updates::Check);
  connect(later, &QPushButton::clicked, bar, &QWidget::hide);
  connect(&updates_, &Updates::ChecksEnabled, show, &QWidget::setVisible);
  connect(&updates_, &Updates::UpdateWaits, bar, &QWidget::setVisible);
  return bar;
}

void EditorWindow::FollowUpdates() {
  connect(&updates_, &Updates::ChecksEnabled, check_, &QAction::setVisible);
  connect(&updates_, &Updates::NoticesHeld, this, [this](const QDateTime& until) {
    present_->setChecked(until.isValid());
    const QString time = QLocale().toString(until.time(), QLocale::ShortFormat);
    held_->setText(until.isValid() ? tr("No notices until %1").arg(time) : QString());
  });
  connect(&updates_, &Updates::Said, this, [this](const QString& sentence) {
    statusBar()->showMessage(sentence, static_cast<int>(kReadingTime.count()));
  });
  connect(spelling_, &Spelling::DictionaryArrived, this, &EditorWindow::ShowDictionary);
}

void EditorWindow::ShowDictionary() { fetchDictionary_->setVisible(!spelling_->HasDictionary()); }
