#include "app/gui/discover_results.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPainter>

#include "AsoKit/storefront.h"
#include "app/gui/app_icons.h"
#include "app/gui/gui_text.h"
#include "app/gui/research_models.h"
#include "app/research/country_name.h"
#include "app/research/discover_texts.h"
#include "app/store/store.h"

namespace tovra::gui {

namespace {
constexpr int kIconSize = 40;
constexpr int kRowHeight = 56;
constexpr int kPositionWidth = 40;
}  // namespace

void DiscoverResultsModel::setResults(std::vector<research::DiscoveredApp> apps, std::set<std::string> tracked) {
  beginResetModel();
  apps_ = std::move(apps);
  tracked_ = std::move(tracked);
  endResetModel();
}

const research::DiscoveredApp* DiscoverResultsModel::app(int row) const {
  return row >= 0 && row < static_cast<int>(apps_.size()) ? &apps_[static_cast<std::size_t>(row)] : nullptr;
}

int DiscoverResultsModel::rowOf(const std::string& appStoreId) const {
  for (std::size_t row = 0; row < apps_.size(); ++row) {
    if (apps_[row].id == appStoreId) {
      return static_cast<int>(row);
    }
  }
  return -1;
}

int DiscoverResultsModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(apps_.size());
}

QVariant DiscoverResultsModel::data(const QModelIndex& index, int role) const {
  const auto* found = app(index.row());
  if (!found || index.column() != 0) {
    return {};
  }
  const auto position = qs(research::positionText(found->position));
  const auto rating = qs(research::ratingLine(found->ratingCount, found->averageRating));
  const auto developer = found->developer.empty() ? kEmDash : qs(found->developer);
  switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole: {
      QStringList parts{position, qs(found->name), developer, rating};
      if (tracked_.count(found->id) > 0) {
        parts << qs(research::trackText::kAlreadyTracked);
      }
      return parts.join(QStringLiteral(" · "));
    }
    case positionRole:
      return position;
    case nameRole:
      return qs(found->name);
    case developerRole:
      return developer;
    case ratingCountRole:
      return qs(research::ratingCountLabel(found->ratingCount));
    case averageRole:
      return qs(research::averageLabel(found->averageRating));
    case artworkRole:
      return found->artworkUrl512 ? qs(*found->artworkUrl512) : QString();
    case trackedRole:
      return tracked_.count(found->id) > 0;
    case idRole:
      return qs(found->id);
    default:
      return {};
  }
}

DiscoverResultDelegate::DiscoverResultDelegate(AppIcons& icons, QObject* parent)
    : QStyledItemDelegate(parent), icons_(icons) {}

QSize DiscoverResultDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
  // As wide as the list makes it; the text inside is elided to fit.
  return {kPositionWidth + kIconSize, kRowHeight};
}

void DiscoverResultDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const {
  QStyleOptionViewItem base = option;
  initStyleOption(&base, index);
  base.text.clear();
  const auto* style = option.widget ? option.widget->style() : QApplication::style();
  style->drawPrimitive(QStyle::PE_PanelItemViewItem, &base, painter, option.widget);

  painter->save();
  const bool selected = option.state & QStyle::State_Selected;
  const auto& palette = option.palette;
  const auto text = selected ? palette.highlightedText().color() : palette.text().color();
  const auto faint = selected ? palette.highlightedText().color() : palette.placeholderText().color();
  auto rect = option.rect.adjusted(8, 0, -12, 0);

  painter->setPen(faint);
  painter->drawText(QRect(rect.left(), rect.top(), kPositionWidth, rect.height()), Qt::AlignVCenter | Qt::AlignLeft,
                    index.data(DiscoverResultsModel::positionRole).toString());

  const auto artwork = index.data(DiscoverResultsModel::artworkRole).toString();
  const auto icon =
      icons_.pixmap(artwork.isEmpty() ? std::nullopt : std::optional<std::string>(artwork.toStdString()), kIconSize);
  const QRect iconRect(rect.left() + kPositionWidth, rect.top() + (rect.height() - kIconSize) / 2, kIconSize,
                       kIconSize);
  painter->drawPixmap(iconRect, icon);

  // The store's own figures on the right: the rating count over the average, and the tracked mark.
  const bool tracked = index.data(DiscoverResultsModel::trackedRole).toBool();
  QStringList right{index.data(DiscoverResultsModel::ratingCountRole).toString(),
                    index.data(DiscoverResultsModel::averageRole).toString()};
  if (tracked) {
    right.front() = qs(research::trackText::kAlreadyTracked);
    right.back() = index.data(DiscoverResultsModel::ratingCountRole).toString() + QStringLiteral(" · ") +
                   index.data(DiscoverResultsModel::averageRole).toString();
  }
  const QFontMetrics metrics(option.font);
  const int rightWidth = std::max(metrics.horizontalAdvance(right.front()), metrics.horizontalAdvance(right.back()));
  const QRect rightRect(rect.right() - rightWidth, rect.top() + 8, rightWidth, rect.height() - 16);
  painter->setPen(tracked ? palette.link().color() : faint);
  if (selected) {
    painter->setPen(faint);
  }
  painter->drawText(rightRect, Qt::AlignTop | Qt::AlignRight, right.front());
  painter->setPen(faint);
  painter->drawText(rightRect, Qt::AlignBottom | Qt::AlignRight, right.back());

  const int textLeft = iconRect.right() + 12;
  const QRect textRect(textLeft, rect.top() + 8, rightRect.left() - textLeft - 12, rect.height() - 16);
  auto bold = option.font;
  bold.setBold(true);
  painter->setFont(bold);
  painter->setPen(text);
  const auto name = QFontMetrics(bold).elidedText(index.data(DiscoverResultsModel::nameRole).toString(), Qt::ElideRight,
                                                  textRect.width());
  painter->drawText(textRect, Qt::AlignTop | Qt::AlignLeft, name);
  painter->setFont(option.font);
  painter->setPen(faint);
  const auto developer =
      metrics.elidedText(index.data(DiscoverResultsModel::developerRole).toString(), Qt::ElideRight, textRect.width());
  painter->drawText(textRect, Qt::AlignBottom | Qt::AlignLeft, developer);
  painter->restore();
}

QLabel* textLine(QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return label;
}

void showLine(QLabel& label, const QString& text) {
  label.setText(text);
  label.setAccessibleName(text);
  label.setVisible(!text.isEmpty());
}

QComboBox* makeCountryBox(const QString& accessibleName, const std::string& current, QWidget* parent) {
  auto* box = new QComboBox(parent);
  box->setAccessibleName(accessibleName);
  box->setToolTip(accessibleName);
  box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  box->setMinimumContentsLength(14);
  for (const auto code : asokit::storefront::knownCodes()) {
    const std::string text(code);
    box->addItem(countryCode(text) + QStringLiteral(" · ") + qs(research::countryDisplayName(text)), qs(text));
  }
  selectCountry(*box, current);
  return box;
}

std::string countryOf(const QComboBox& box) {
  return box.currentData().toString().toStdString();
}

void selectCountry(QComboBox& box, const std::string& code) {
  const auto row = box.findData(qs(code));
  if (row >= 0) {
    box.setCurrentIndex(row);
  }
}

}  // namespace tovra::gui

namespace tovra::gui {

bool hasSpaces(const QComboBox& box) {
  return box.count() > 0 && !box.itemData(0).isNull();
}

void fillSpaces(QComboBox& box, store::Store& store) {
  const auto selected = box.currentData().toString();
  box.clear();
  for (const auto& space : store.spaces().all()) {
    if (!space.promotedToAppStoreId) {
      box.addItem(qs(space.name), qs(space.id));
    }
  }
  if (box.count() == 0) {
    // Says why nothing can be kept, where the spaces would be listed.
    box.addItem(qs(research::discoverLabel::kNoSpace));
  }
  const auto row = box.findData(selected);
  box.setCurrentIndex(row >= 0 ? row : 0);
}

std::optional<store::ResearchSpace> spaceOf(const QComboBox& box, store::Store& store) {
  if (box.currentIndex() < 0 || box.currentData().isNull()) {
    return std::nullopt;
  }
  return store.spaces().findById(box.currentData().toString().toStdString());
}

}  // namespace tovra::gui
