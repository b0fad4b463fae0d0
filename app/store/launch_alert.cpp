#include "app/store/launch_alert.h"

namespace tovra::store {

StoreLaunchAlert StoreLaunchAlert::from(const StoreOpenNotice& notice) {
  StoreLaunchAlert alert;
  if (const auto* recovered = notice.recovered()) {
    alert.style = Style::warning;
    alert.messageText = "Tovra could not open its data.";
    alert.informativeText = "Tovra could not open its data. Your old data was kept in " + recovered->folder.string() +
                            ". " + "Tovra has started with an empty store; nothing was deleted.";
    if (recovered->salvaged) {
      alert.informativeText += " " + salvageSummary(*recovered->salvaged);
    }
    alert.buttons = {std::string(okButton), std::string(showFolderButton)};
    alert.folder = recovered->folder;
    alert.endsApplication = false;
    return alert;
  }
  if (const auto* inUse = notice.inUse()) {
    alert.style = Style::warning;
    alert.messageText = "Tovra's store is in use by another program.";
    alert.informativeText = "Another program holds the store " + inUse->store.string() +
                            " locked, so Tovra cannot open it now. Nothing was moved or changed: close the other "
                            "program or wait for it to finish, then try again.";
    alert.buttons = {std::string(tryAgainButton), std::string(quitButton)};
    alert.endsApplication = true;
    return alert;
  }
  if (const auto* unavailable = notice.unavailable()) {
    alert.style = Style::critical;
    alert.messageText = "Tovra cannot reach its data.";
    alert.informativeText = "Tovra could not open its store " + unavailable->store.string() +
                            ", so it has to quit. Nothing was moved or changed.\n\n" + unavailable->detail;
    alert.buttons = {std::string(quitButton)};
    alert.endsApplication = true;
    return alert;
  }
  const auto& failed = *notice.failed();
  alert.style = Style::critical;
  alert.messageText = "Tovra cannot start.";
  alert.informativeText = "Tovra could not create a place to keep its data, so it has to quit.";
  if (failed.folder) {
    alert.informativeText += " Your old data was kept in " + failed.folder->string() + ".";
  }
  alert.informativeText += "\n\n" + failed.detail;
  alert.buttons = {std::string(quitButton)};
  if (failed.folder) {
    alert.buttons.emplace_back(showFolderButton);
  }
  alert.folder = failed.folder;
  alert.endsApplication = true;
  return alert;
}

}  // namespace tovra::store
