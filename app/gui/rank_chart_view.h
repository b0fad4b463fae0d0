#pragma once

#include <QChartView>
#include <QColor>
#include <QList>
#include <QPointF>
#include <QString>
#include <cstdint>
#include <vector>

#include "app/measure/rank_chart.h"
#include "app/store/local_time.h"

class QCategoryAxis;

namespace tovra::gui {

// A rank chart: rank 1 at the top, days along the bottom, a line only where consecutive days have a rank,
// days outside the results in their own labelled row below the ranks, and releases as upright marks on
// the days they came out. Draws one app or several side by side.
class RankChartView final : public QChartView {
  Q_OBJECT
 public:
  struct Series {
    QString name;
    measure::RankChart chart;
  };

  explicit RankChartView(QWidget* parent = nullptr);

  // Replaces what is drawn. An empty list, or series without a day, draw the empty chart with `emptyText`
  // as its title.
  void draw(const std::vector<Series>& series, const store::LocalTimeFormat& localTime, const QString& emptyText);

  // The line series drawn for an app (for tests and the accessibility summary): each is one unbroken
  // stretch of days.
  int lineCount() const { return lineCount_; }
  // The unbroken stretches painted, in chart values (day in milliseconds, rank), each one line.
  const std::vector<std::pair<QColor, QList<QPointF>>>& stretches() const { return stretches_; }
  int outsideCount() const { return outsideCount_; }
  int releaseCount() const { return releaseCount_; }
  // The ranks labelled along the side besides 1 and the outside row; fewer when the chart is short.
  int rankLabelCount() const;

 protected:
  void drawForeground(QPainter* painter, const QRectF& rect) override;

 private:
  void replaceChart(QChart* chart);
  // Labels as many ranks as the plot's height has room for, so that none is elided to dots.
  void fitRankLabels(qreal plotHeight);

  std::vector<std::pair<QColor, QList<QPointF>>> stretches_;
  std::vector<qreal> releaseDays_;
  qreal releaseTop_ = 0;
  qreal releaseBottom_ = 0;
  QAbstractSeries* anchor_ = nullptr;
  QCategoryAxis* rankAxis_ = nullptr;
  std::int64_t rankBottom_ = 0;
  qreal outsideRow_ = 0;

  int lineCount_ = 0;
  int outsideCount_ = 0;
  int releaseCount_ = 0;
};

}  // namespace tovra::gui
