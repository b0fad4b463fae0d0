#pragma once

class QWidget;

namespace tovra::gui {

class AppServices;
class ViewPage;

ViewPage* makeAppsView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
