#include "app/gui/icons.h"

#include <QString>

// Outside any namespace: the resource's initialiser is a global function.
static void initIconResources() {
  Q_INIT_RESOURCE(icons);
}

namespace tovra::gui {

void initIcons() {
  initIconResources();
}

QIcon symbolIcon(std::string_view symbol) {
  return QIcon(QStringLiteral(":/icons/") + QString::fromUtf8(symbol.data(), static_cast<qsizetype>(symbol.size())) +
               QStringLiteral(".svg"));
}

}  // namespace tovra::gui
