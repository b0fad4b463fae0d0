#pragma once

class QWidget;

namespace tovra::gui {

class AppServices;
class ViewPage;

ViewPage* makeDiscoverView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
