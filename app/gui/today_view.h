#pragma once

class QWidget;

namespace tovra::gui {

class AppServices;
class ViewPage;

ViewPage* makeTodayView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
