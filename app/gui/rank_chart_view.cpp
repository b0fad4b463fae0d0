#include "app/gui/rank_chart_view.h"

#include <QCategoryAxis>
#include <QChart>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QLegendMarker>
#include <QPainter>
#include <QScatterSeries>
#include <algorithm>

#include "app/gui/gui_text.h"

namespace tovra::gui {
namespace {

qreal xOf(asokit::WallTime time) {
  return static_cast<qreal>(std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count());
}

constexpr std::size_t kDotsUpTo = 120;
// What the days axis, the titles and the margins take of the view's height, until the chart is laid out.
constexpr int kAxesAndMargins = 80;

bool darkPalette(const QPalette& palette) {
  return palette.color(QPalette::Window).lightness() < 128;
}

void hideFromLegend(QChart& chart, QAbstractSeries* series) {
  for (auto* marker : chart.legend()->markers(series)) {
    marker->setVisible(false);
  }
}

}  // namespace

RankChartView::RankChartView(QWidget* parent) : QChartView(new QChart, parent) {
  setRenderHint(QPainter::Antialiasing);
  // The lines are painted over the scene, not as its items: a change of the chart's layout must repaint
  // the whole view, or the lines would stay where the items were.
  setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
  setMinimumHeight(90);
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(qs(measure::chartText::kRankAxis));
}

void RankChartView::drawForeground(QPainter* painter, const QRectF& rect) {
  QChartView::drawForeground(painter, rect);
  if (!anchor_ || (stretches_.empty() && releaseDays_.empty())) {
    return;
  }
  auto* shown = chart();
  const auto at = [&](QPointF value) { return shown->mapToScene(shown->mapToPosition(value, anchor_)); };
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setClipRect(shown->mapRectToScene(shown->plotArea()));
  QPen marks(palette().color(QPalette::PlaceholderText));
  marks.setStyle(Qt::DashLine);
  painter->setPen(marks);
  for (const auto day : releaseDays_) {
    painter->drawLine(at(QPointF(day, releaseTop_)), at(QPointF(day, releaseBottom_)));
  }
  for (const auto& [colour, stretch] : stretches_) {
    QPen pen(colour);
    pen.setWidthF(2.0);
    painter->setPen(pen);
    QPolygonF line;
    line.reserve(stretch.size());
    for (const auto& point : stretch) {
      line.append(at(point));
    }
    painter->drawPolyline(line);
  }
  painter->restore();
}

void RankChartView::fitRankLabels(qreal plotHeight) {
  if (!rankAxis_) {
    return;
  }
  // The axis's title stands upright beside the ranks; a chart too short for it is named by its heading and
  // its accessible name.
  rankAxis_->setTitleVisible(plotHeight >= fontMetrics().horizontalAdvance(rankAxis_->titleText()));
  // "1", the ranks between, the deepest rank and the outside row, each a line and a half apart.
  const int room = static_cast<int>(plotHeight / (fontMetrics().height() * 1.5)) - 2;
  const int between = std::clamp(room, 1, 5);
  // The outside row sits just below the deepest rank: on a short chart a label there would overlap it.
  const qreal perRank = plotHeight / (rankAxis_->max() - rankAxis_->min());
  const qreal clearance = fontMetrics().height();
  QStringList labels{QStringLiteral("1")};
  const auto step = std::max<std::int64_t>(rankBottom_ / between, 1);
  for (std::int64_t value = rankBottom_ - step * (between - 1); value <= rankBottom_; value += step) {
    const auto at = static_cast<qreal>(value);
    if (value > 1 && (at - 1) * perRank >= clearance && (outsideRow_ - at) * perRank >= clearance) {
      labels << QString::number(value);
    }
  }
  labels << qs(measure::chartText::kOutsideRow);
  // Relabelling moves the plot, which calls this again: only a change of labels is laid out anew.
  if (labels == rankAxis_->categoriesLabels()) {
    return;
  }
  for (const auto& label : rankAxis_->categoriesLabels()) {
    rankAxis_->remove(label);
  }
  for (qsizetype i = 0; i + 1 < labels.size(); ++i) {
    rankAxis_->append(labels[i], labels[i].toDouble());
  }
  rankAxis_->append(labels.back(), outsideRow_);
}

int RankChartView::rankLabelCount() const {
  return rankAxis_ ? static_cast<int>(rankAxis_->categoriesLabels().size()) - 2 : 0;
}

void RankChartView::replaceChart(QChart* chart) {
  // The view hands back the chart it showed rather than deleting it.
  auto* old = this->chart();
  setChart(chart);
  delete old;
}

void RankChartView::draw(const std::vector<Series>& series, const store::LocalTimeFormat& localTime,
                         const QString& emptyText) {
  auto* chart = new QChart;
  chart->setTheme(darkPalette(palette()) ? QChart::ChartThemeDark : QChart::ChartThemeLight);
  chart->setBackgroundBrush(palette().base());
  chart->setBackgroundRoundness(0);
  chart->legend()->setAlignment(Qt::AlignBottom);
  // One app's chart is named by the heading above it; a comparison needs its legend. Decided before any
  // series is added, so the legend is not laid out again for each of them.
  chart->legend()->setVisible(series.size() > 1);
  chart->legend()->setLabelColor(palette().color(QPalette::Text));
  chart->setTitleBrush(palette().text());
  lineCount_ = 0;
  outsideCount_ = 0;
  releaseCount_ = 0;

  std::optional<asokit::WallTime> first;
  std::optional<asokit::WallTime> last;
  std::int64_t deepest = 0;
  for (const auto& one : series) {
    if (one.chart.firstDay) {
      first = first ? std::min(*first, *one.chart.firstDay) : *one.chart.firstDay;
      last = last ? std::max(*last, *one.chart.lastDay) : *one.chart.lastDay;
    }
    deepest = std::max(deepest, one.chart.deepestRank);
  }
  if (!first) {
    setToolTip(QString());
    stretches_.clear();
    releaseDays_.clear();
    anchor_ = nullptr;
    rankAxis_ = nullptr;
    chart->setTitle(emptyText);
    chart->legend()->hide();
    replaceChart(chart);
    setAccessibleDescription(emptyText);
    return;
  }

  const auto bottom = measure::rankAxisBottom(deepest);
  // The outside row sits a band below the deepest rank of the axis, where no rank can be.
  const qreal outsideRow = static_cast<qreal>(bottom) * 1.12;
  auto* days = new QDateTimeAxis;
  days->setFormat(QStringLiteral("MMM d"));
  days->setTitleText(qs(measure::chartText::kDayAxis));
  const qreal halfDay = 12 * 3600 * 1000.0;
  days->setRange(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(xOf(*first) - halfDay)),
                 QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(xOf(*last) + halfDay)));
  days->setTickCount(std::clamp(static_cast<int>((xOf(*last) - xOf(*first)) / (24 * 3600 * 1000.0)) + 1, 2, 8));
  auto* ranks = new QCategoryAxis;
  ranks->setReverse(true);
  ranks->setLabelsPosition(QCategoryAxis::AxisLabelsPositionOnValue);
  ranks->setTitleText(qs(measure::chartText::kRankAxis));
  ranks->setRange(0.5, outsideRow + static_cast<qreal>(bottom) * 0.06);
  rankAxis_ = ranks;
  rankBottom_ = bottom;
  outsideRow_ = outsideRow;
  fitRankLabels(std::max(0, height() - kAxesAndMargins));
  connect(chart, &QChart::plotAreaChanged, this, [this](const QRectF& plot) { fitRankLabels(plot.height()); });
  chart->addAxis(days, Qt::AlignBottom);
  chart->addAxis(ranks, Qt::AlignLeft);

  const auto attach = [&](QAbstractSeries* drawn) {
    chart->addSeries(drawn);
    drawn->attachAxis(days);
    drawn->attachAxis(ranks);
  };
  std::size_t points = 0;
  for (const auto& one : series) {
    for (const auto& line : one.chart.lines) {
      points += line.size();
    }
  }
  // A dot per day reads well on a short series and costs a marker each on a long one, where only the days
  // standing alone keep theirs (a line of one day has nothing else to show).
  const bool dots = points <= kDotsUpTo;
  stretches_.clear();
  releaseDays_.clear();
  anchor_ = nullptr;
  // The dashed marks carry no text of their own; hovering the chart names them.
  QStringList releaseLabels;
  for (const auto& one : series) {
    // One app keeps one colour over all its stretches: the single chart takes the palette's highlight, a
    // comparison the theme's sequence of series colours. Its days are one series of dots; the lines between
    // consecutive days are painted over the chart (see drawForeground), since a series per stretch would
    // cost a long history hundreds of milliseconds.
    auto* days = new QScatterSeries;
    days->setName(one.name);
    days->setMarkerShape(QScatterSeries::MarkerShapeCircle);
    days->setMarkerSize(dots ? 7 : 5);
    for (const auto& line : one.chart.lines) {
      if (dots || line.size() == 1) {
        for (const auto& point : line) {
          days->append(xOf(point.day), static_cast<qreal>(point.rank));
        }
      }
    }
    attach(days);
    anchor_ = anchor_ ? anchor_ : days;
    const QColor colour = series.size() == 1 ? palette().color(QPalette::Highlight) : days->color();
    days->setColor(colour);
    days->setBorderColor(colour);
    for (const auto& line : one.chart.lines) {
      QList<QPointF> stretch;
      for (const auto& point : line) {
        stretch.append(QPointF(xOf(point.day), static_cast<qreal>(point.rank)));
      }
      stretches_.push_back({colour, std::move(stretch)});
      ++lineCount_;
    }
    if (!one.chart.outsideDays.empty()) {
      auto* outside = new QScatterSeries;
      outside->setName(one.name + QStringLiteral(" · ") + qs(measure::chartText::kOutsideRow));
      outside->setMarkerShape(QScatterSeries::MarkerShapeRectangle);
      outside->setMarkerSize(7);
      for (const auto day : one.chart.outsideDays) {
        outside->append(xOf(day), outsideRow);
      }
      attach(outside);
      outside->setColor(colour);
      outside->setBorderColor(colour);
      hideFromLegend(*chart, outside);
      outsideCount_ += static_cast<int>(one.chart.outsideDays.size());
    }
    for (const auto& release : one.chart.releases) {
      releaseDays_.push_back(xOf(release.releasedAt));
      releaseLabels << qs(measure::releaseLabel(release, localTime.date(release.releasedAt)));
      ++releaseCount_;
    }
  }
  setToolTip(releaseLabels.join(QLatin1Char('\n')));
  releaseTop_ = 0.5;
  releaseBottom_ = static_cast<qreal>(bottom);
  replaceChart(chart);
  setAccessibleDescription(QStringLiteral("%1 · %2").arg(series.front().name, emptyText));
}

}  // namespace tovra::gui
