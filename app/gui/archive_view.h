#pragma once

class QWidget;

namespace tovra::gui {

class AppServices;
class ViewPage;

ViewPage* makeArchiveView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
