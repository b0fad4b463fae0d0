// An app's keywords: add from a pasted list, list, pause, resume, delete with their history.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "AsoKit/text.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/usage.h"
#include "app/cli/watchlist_cli.h"
#include "app/cli/watchlist_json.h"
#include "app/measure/measure_texts.h"
#include "app/store/dates.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

struct AddArgs {
  std::string appStoreId;
  std::string country;
  std::vector<std::string> texts;
};

void runAdd(Context& context, const AddArgs& args) {
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  addPaste(context, watchlist, Owner::of(requireApp(watchlist.store(), args.appStoreId)), args.texts, country);
}

void runList(Context& context, const std::string& appStoreId) {
  Watchlist watchlist(context);
  auto& store = watchlist.store();
  std::vector<store::TrackedApp> apps;
  if (appStoreId.empty()) {
    apps = store.apps().all();
  } else {
    apps.push_back(requireApp(store, appStoreId));
  }
  nlohmann::json list = nlohmann::json::array();
  Table table({"App", "Keyword", "Country", "State", "From", "Added"});
  for (const auto& app : apps) {
    for (const auto& query : store.queries().ofApp(app.rowId)) {
      if (context.json) {
        list.push_back(toJson(store, query));
        continue;
      }
      const auto provenance = store::keywordProvenance(query.provenanceRaw);
      table.add({app.displayName, query.keyword, upperCountry(query.country),
                 std::string(measure::texts::keywordState(query.isPaused,
                                                          store.observations().latestOf(query.rowId).has_value())),
                 provenance ? std::string(store::provenanceText(*provenance)) : std::string(kEmDash),
                 store::isoUtc(query.addedAt).substr(0, 10)});
    }
  }
  if (context.json) {
    printJson(context.out(), list);
  } else if (table.empty()) {
    context.out() << (apps.empty() ? "No app is tracked yet.\n" : "No keyword is tracked yet.\n");
  } else {
    table.print(context.out(), context.tableWidth());
  }
}

struct KeywordArgs {
  std::string owner;
  std::string keyword;
  std::string country;
  bool yes = false;
};

enum class Change { pause, resume, remove };

void runChange(Context& context, const KeywordArgs& args, Change change) {
  requireUtf8(args.keyword, "The keyword");
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  auto& store = watchlist.store();
  const auto owner = requireOwner(store, args.owner);
  if (asokit::text::trimWhitespace(args.keyword).empty()) {
    throw CommandError(Exit::failed, "The keyword is blank.");
  }
  const auto query = findKeyword(owner.queries(store), args.keyword, country);
  if (!query) {
    throw CommandError(Exit::failed,
                       fmt::format("{} is not a keyword of {}.", describeKeyword(args.keyword, country), owner.label));
  }
  if (change == Change::remove) {
    confirmDeletion(context, watchlist, store::DeletionPlan::forQuery(store, *query), args.yes);
    return;
  }
  store::TrackedQuery stored;
  watchlist.edit([&] { stored = watchlist.writer().setPaused(*query, change == Change::pause); });
  if (context.json) {
    printJson(context.out(), toJson(store, stored));
    return;
  }
  context.out() << fmt::format("{} {} for {}.\n", stored.isPaused ? "Paused" : "Measuring",
                               describeKeyword(stored.keyword, stored.country), owner.label);
}

void addChange(CLI::App& group, Context& context, const char* name, const char* help, Change change) {
  auto args = std::make_shared<KeywordArgs>();
  auto* command = group.add_subcommand(name, help);
  command
      ->add_option("owner", args->owner,
                   "The app (id, App Store link, bundle id or name), or space:NAME for a research space")
      ->required();
  command->add_option("keyword", args->keyword, "The keyword")->required();
  command->add_option("--country", args->country, "Storefront country code, e.g. us")
      ->required()
      ->check(countryCheck());
  if (change == Change::remove) {
    command->add_flag("--yes", args->yes, "Delete; without it the plan is only shown");
  }
  command->fallthrough();
  command->callback([args, &context, change] { runChange(context, *args, change); });
}

const bool registered = registerCommand(
    {"keywords",
     [](CLI::App& root, Context& context) {
       auto* group = root.add_subcommand("keywords", "An app's keywords: add, list, pause, resume, delete");
       group->require_subcommand(1);
       group->fallthrough();

       auto add = std::make_shared<AddArgs>();
       auto* addCommand = group->add_subcommand(
           "add", "Add keywords to an app; commas, semicolons or new lines separate several, as in a paste");
       addCommand->add_option("app", add->appStoreId, "The app: id, App Store link, bundle id or name")->required();
       addCommand->add_option("--country", add->country, "Storefront country code, e.g. us")
           ->required()
           ->check(countryCheck());
       addCommand->add_option("text", add->texts,
                              "Keywords: words run together into one keyword; commas, semicolons or new lines "
                              "separate several; - (or nothing, when piped) reads them from standard input");
       addCommand->fallthrough();
       addCommand->callback([add, &context] { runAdd(context, *add); });

       auto listed = std::make_shared<std::string>();
       auto* listCommand = group->add_subcommand("list", "The tracked keywords, of every app or of one");
       listCommand->add_option("app", *listed, "Only this app's keywords (default: every app's)");
       listCommand->fallthrough();
       listCommand->callback([listed, &context] { runList(context, *listed); });

       addChange(*group, context, "pause", "Leave a keyword out of measurement runs", Change::pause);
       addChange(*group, context, "resume", "Measure a paused keyword again", Change::resume);
       addChange(*group, context, "delete", "Delete a keyword with its history", Change::remove);
     },
     21});

}  // namespace
}  // namespace tovra::cli
