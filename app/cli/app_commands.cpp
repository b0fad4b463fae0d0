// Tracked apps: add one by name, link, id or bundle id; list them; delete one with its history.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "app/cli/app_resolve.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/usage.h"
#include "app/cli/watchlist_cli.h"
#include "app/cli/watchlist_json.h"
#include "app/store/dates.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

struct AddArgs {
  std::string input;
  std::string country;
  bool mine = false;
  std::int64_t pick = 0;
  CLI::Option* pickOption = nullptr;
};

void runAdd(Context& context, const AddArgs& args) {
  const auto country = requireCountry(args.country);
  std::optional<std::string> pickNote;
  const auto found = resolveApp(context, args.input, country,
                                args.pickOption->count() > 0 ? std::optional(args.pick) : std::nullopt, pickNote);
  Watchlist watchlist(context);
  // Without --mine nothing is claimed: an app already marked as the user's stays marked.
  const auto tracked = watchlist.writer().findApp(found.id);
  const bool claim = args.mine || (tracked && tracked->isMine);
  store::WatchlistWriter::Receipt receipt;
  watchlist.edit([&] { receipt = watchlist.writer().trackApp(research::trackedFacts(found), country, claim); });

  if (context.json) {
    printJson(context.out(), {{"app", toJson(watchlist.store(), receipt.app)},
                              {"createdApp", receipt.createdApp},
                              {"createdLocalization", receipt.createdLocalization ? toJson(*receipt.createdLocalization)
                                                                                  : nlohmann::json(nullptr)},
                              {"pickedByNameAmongSeveral", pickNote.has_value()}});
    return;
  }
  auto& out = context.out();
  out << fmt::format(
      "{} {} ({}){}{}{}{}\n", receipt.createdApp ? "Tracking" : "Already tracked:", receipt.app.displayName,
      receipt.app.appStoreId, kDot, receipt.app.developer.empty() ? std::string(kEmDash) : receipt.app.developer, kDot,
      upperCountry(country));
  if (receipt.app.isMine) {
    out << "Marked as your app.\n";
  }
  if (pickNote) {
    out << *pickNote << "\n";
  }
}

void runList(Context& context) {
  Watchlist watchlist(context);
  auto& store = watchlist.store();
  const auto apps = store.apps().all();
  if (context.json) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& app : apps) {
      list.push_back(toJson(store, app));
    }
    printJson(context.out(), list);
    return;
  }
  if (apps.empty()) {
    context.out() << "No app is tracked yet. Add one with: tovra app add NAME|LINK|ID|BUNDLE_ID --country CC\n";
    return;
  }
  Table table({"Id", "App", "Developer", "Mine", "Keywords", "Countries", "Added"});
  for (const auto& app : apps) {
    const auto queries = store.queries().ofApp(app.rowId);
    std::size_t paused = 0;
    for (const auto& query : queries) {
      paused += query.isPaused ? 1 : 0;
    }
    std::string countries;
    for (const auto& localization : store.localizations().ofApp(app.rowId)) {
      countries += (countries.empty() ? "" : ", ") + upperCountry(localization.country);
    }
    const auto keywords =
        paused == 0 ? std::to_string(queries.size()) : fmt::format("{}{}{} paused", queries.size(), kDot, paused);
    table.add({app.appStoreId, app.displayName, app.developer.empty() ? std::string(kEmDash) : app.developer,
               app.isMine ? "mine" : "", keywords, countries.empty() ? std::string(kEmDash) : countries,
               store::isoUtc(app.addedAt).substr(0, 10)});
  }
  table.print(context.out(), context.tableWidth());
}

void runDelete(Context& context, const std::string& appStoreId, bool yes) {
  Watchlist watchlist(context);
  const auto app = requireApp(watchlist.store(), appStoreId);
  confirmDeletion(context, watchlist, store::DeletionPlan::forApp(watchlist.store(), app), yes);
}

const bool registered = registerCommand(
    {"app",
     [](CLI::App& root, Context& context) {
       auto* group = root.add_subcommand("app", "Tracked apps: add, list, delete");
       group->require_subcommand(1);
       group->fallthrough();

       auto add = std::make_shared<AddArgs>();
       auto* addCommand = group->add_subcommand("add", "Track an app found by name, App Store link, id or bundle id");
       addCommand->add_option("input", add->input, "App name, URL, ID, or bundle ID")->required();
       addCommand->add_option("--country", add->country, "Storefront country code, e.g. us")
           ->required()
           ->check(countryCheck());
       addCommand->add_flag("--mine", add->mine, "Mark the app as yours");
       add->pickOption = addCommand->add_option("--pick", add->pick, "Which of several results to track (1 = first)");
       addCommand->fallthrough();
       addCommand->callback([add, &context] { runAdd(context, *add); });

       auto* listCommand = group->add_subcommand("list", "The tracked apps");
       listCommand->fallthrough();
       listCommand->callback([&context] { runList(context); });

       auto del = std::make_shared<std::pair<std::string, bool>>();
       auto* deleteCommand = group->add_subcommand("delete", "Delete a tracked app with its keywords and history");
       deleteCommand->add_option("app", del->first, "The app: id, App Store link, bundle id or name")->required();
       deleteCommand->add_flag("--yes", del->second, "Delete; without it the plan is only shown");
       deleteCommand->fallthrough();
       deleteCommand->callback([del, &context] { runDelete(context, del->first, del->second); });
     },
     20});

}  // namespace
}  // namespace tovra::cli
