#include "app/gui/archive_parts.h"

#include <QHeaderView>
#include <QLabel>
#include <QListView>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/gui/gui_text.h"

namespace tovra::gui::parts {
namespace {

constexpr int kMinimumListHeight = 32;

}  // namespace

QStandardItem* cell(const QString& text) {
  auto* item = new QStandardItem(text);
  item->setEditable(false);
  item->setAccessibleText(text);
  // A narrow column elides its text; hovering shows it whole.
  item->setToolTip(text);
  return item;
}

QLabel* sectionLabel(const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  auto font = label->font();
  font.setBold(true);
  label->setFont(font);
  label->setAccessibleName(text);
  return label;
}

QTreeView* tableView(QStandardItemModel* model, const QString& name, QWidget* parent) {
  auto* view = new QTreeView(parent);
  view->setModel(model);
  view->setRootIsDecorated(false);
  view->setUniformRowHeights(true);
  view->setAlternatingRowColors(true);
  view->setSelectionBehavior(QAbstractItemView::SelectRows);
  view->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view->setAccessibleName(name);
  view->header()->setStretchLastSection(true);
  // A pane in a splitter: the window may be short, so a list holds a few rows at the least, not its hint.
  view->setMinimumHeight(kMinimumListHeight);
  return view;
}

QListView* listView(QStandardItemModel* model, const QString& name, QWidget* parent) {
  auto* view = new QListView(parent);
  view->setModel(model);
  view->setUniformItemSizes(true);
  view->setWordWrap(true);
  view->setAccessibleName(name);
  view->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view->setMinimumHeight(kMinimumListHeight);
  return view;
}

void nameRow(const QList<QStandardItem*>& row) {
  QStringList words;
  for (const auto* item : row) {
    words << item->text();
  }
  row.front()->setAccessibleText(words.join(QStringLiteral(", ")));
}

QStringList headers(std::span<const std::string_view> names) {
  QStringList texts;
  for (const auto name : names) {
    texts << qs(name);
  }
  return texts;
}

void addPane(QSplitter* splitter, const QString& heading, QWidget* content) {
  auto* box = new QWidget(splitter);
  auto* column = new QVBoxLayout(box);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(sectionLabel(heading, box));
  column->addWidget(content, 1);
  splitter->addWidget(box);
}

QSplitter* splitPair(Qt::Orientation orientation, QWidget* first, QWidget* second, std::pair<int, int> stretch,
                     const QList<int>& sizes, QWidget* parent) {
  auto* splitter = new QSplitter(orientation, parent);
  splitter->addWidget(first);
  splitter->addWidget(second);
  splitter->setStretchFactor(0, stretch.first);
  splitter->setStretchFactor(1, stretch.second);
  splitter->setSizes(sizes);
  return splitter;
}

}  // namespace tovra::gui::parts
