// The desktop application's entry: the store is opened before any window, the long-lived services are
// built once, and the store's notice is shown once the main window is up.
#include <QApplication>
#include <QStyleFactory>
#include <QTimer>
#include <cstdlib>

#include "app/gui/dbus_notifications.h"
#include "app/gui/icons.h"
#include "app/gui/launch.h"
#include "app/gui/main_window.h"

int main(int argc, char* argv[]) {
  QApplication app(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Tovra"));
  QApplication::setApplicationName(QStringLiteral("Tovra"));
  QApplication::setApplicationVersion(QStringLiteral(TOVRA_VERSION));
  QApplication::setDesktopFileName(QStringLiteral("org.tovra.Tovra"));
  // One fixed look on every desktop, so what the screenshots show is what users see.
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  tovra::gui::initIcons();

  const auto qa = tovra::gui::onboardingFrom(QApplication::arguments());
  std::unique_ptr<tovra::gui::AppServices> services;
  for (;;) {
    try {
      const auto environment = [](const std::string& name) -> std::optional<std::string> {
        const char* value = std::getenv(name.c_str());
        return value && *value ? std::optional<std::string>(value) : std::nullopt;
      };
      services.reset();
      services = tovra::gui::launchServices(qa, environment, tovra::gui::makeDBusNotificationCenter);
    } catch (const tovra::gui::FatalLaunch& fatal) {
      tovra::gui::presentFatalLaunch(fatal);
      return 1;
    }
    // A store another program holds is asked for again, as often as the user likes, before any window is
    // built over the stand-in store in memory.
    const auto& notice = services->notice();
    if (!notice || !notice->inUse()) {
      break;
    }
    const auto choice = tovra::gui::presentLaunchAlert(nullptr, tovra::store::StoreLaunchAlert::from(*notice));
    if (choice != tovra::gui::LaunchAlertChoice::tryAgain) {
      return 1;
    }
  }
  // Tovra lives on in the tray when the window closes; quitting is explicit.
  QApplication::setQuitOnLastWindowClosed(false);

  tovra::gui::MainWindow window(*services, !qa);
  QObject::connect(&window, &tovra::gui::MainWindow::quitRequested, &app, &QApplication::quit);
  if (qa && qa->windowSize) {
    window.resize(*qa->windowSize);
  }
  tovra::gui::presentMainWindow(window, services->notice(), [] { QApplication::exit(1); });
  // A checking aid for the start-up benchmark: quit once the first page has shown its rows.
  if (QApplication::arguments().contains(QStringLiteral("--quit-when-shown"))) {
    QTimer::singleShot(0, &app, &QApplication::quit);
  }
  return QApplication::exec();
}
