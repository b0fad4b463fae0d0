#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <Qt>
#include <span>
#include <string_view>
#include <utility>

class QLabel;
class QListView;
class QSplitter;
class QStandardItem;
class QStandardItemModel;
class QTreeView;
class QWidget;

// The small pieces the Archive and Rivals pages build their lists from.
namespace tovra::gui::parts {

// A read-only cell that a screen reader reads by its text.
QStandardItem* cell(const QString& text);
// A bold heading over a list.
QLabel* sectionLabel(const QString& text, QWidget* parent);
// A flat table of rows, selected whole.
QTreeView* tableView(QStandardItemModel* model, const QString& name, QWidget* parent);
QListView* listView(QStandardItemModel* model, const QString& name, QWidget* parent);
// `content` under its bold heading, added to `splitter` as one pane.
void addPane(QSplitter* splitter, const QString& heading, QWidget* content);
// Two widgets side by side or one above the other, sharing room by the stretch factors and starting at
// `sizes`. Splitters rather than fixed columns: a short window shrinks the panes instead of growing.
QSplitter* splitPair(Qt::Orientation orientation, QWidget* first, QWidget* second, std::pair<int, int> stretch,
                     const QList<int>& sizes, QWidget* parent);
// The row's cells joined for a screen reader, so a row reads as one sentence.
void nameRow(const QList<QStandardItem*>& row);
QStringList headers(std::span<const std::string_view> names);

}  // namespace tovra::gui::parts
