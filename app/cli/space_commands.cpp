// Research spaces: keywords kept before there is an app. Create, rename, park and unpark keywords,
// graduate onto an app, list, delete.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/cli/app_resolve.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/usage.h"
#include "app/cli/watchlist_cli.h"
#include "app/cli/watchlist_json.h"
#include "app/measure/measure_texts.h"
#include "app/research/space_names.h"
#include "app/store/dates.h"
#include "app/store/keyword_draft.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

nlohmann::json spaceJson(store::Store& store, const store::ResearchSpace& space) {
  auto json = toJson(space);
  nlohmann::json queries = nlohmann::json::array();
  for (const auto& query : store.queries().ofSpace(space.rowId)) {
    queries.push_back(toJson(store, query));
  }
  json["queries"] = std::move(queries);
  return json;
}

void runCreate(Context& context, const std::string& name, const std::string& note, bool hasNote) {
  requireUtf8Texts({name, note}, "The text");
  Watchlist watchlist(context);
  if (const auto taken = research::spacesNamed(watchlist.store(), research::spaceNameToStore(name)); !taken.empty()) {
    throw CommandError(Exit::failed, research::spaceNameTakenText(taken.front().name));
  }
  store::ResearchSpace space;
  watchlist.edit([&] {
    space = watchlist.writer().createSpace(store::randomUuid(), name, hasNote ? std::optional(note) : std::nullopt);
  });
  if (context.json) {
    printJson(context.out(), spaceJson(watchlist.store(), space));
    return;
  }
  context.out() << fmt::format("Created {} ({}).\n", spaceLabel(space), space.id);
}

void runRename(Context& context, const std::string& which, const std::string& newName) {
  requireUtf8(newName, "The name");
  Watchlist watchlist(context);
  const auto space = requireSpace(watchlist.store(), which);
  for (const auto& other : research::spacesNamed(watchlist.store(), newName)) {
    if (other.rowId != space.rowId) {
      throw CommandError(Exit::failed, research::spaceNameTakenText(other.name));
    }
  }
  auto& editor = watchlist.editor();
  editor.beginRename(space);
  editor.setDraftName(newName);
  if (!editor.commitRename()) {
    throw CommandError(Exit::failed, editor.failure().value_or(std::string(store::kSaveFailed)));
  }
  const auto renamed = watchlist.store().spaces().get(space.rowId);
  if (context.json) {
    printJson(context.out(), spaceJson(watchlist.store(), renamed));
    return;
  }
  context.out() << fmt::format("Renamed {} to “{}”.\n", spaceLabel(space), renamed.name);
}

struct ParkArgs {
  std::string space;
  std::string country;
  std::vector<std::string> texts;
};

void runPark(Context& context, const ParkArgs& args) {
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  addPaste(context, watchlist, Owner::of(requireSpace(watchlist.store(), args.space)), args.texts, country);
}

struct KeywordArgs {
  std::string space;
  std::string keyword;
  std::string country;
};

void runUnpark(Context& context, const KeywordArgs& args) {
  requireUtf8(args.keyword, "The keyword");
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  auto& store = watchlist.store();
  const auto space = requireSpace(store, args.space);
  if (asokit::text::trimWhitespace(args.keyword).empty()) {
    throw CommandError(Exit::failed, "The keyword is blank.");
  }
  auto query = findKeyword(store.queries().ofSpace(space.rowId), args.keyword, country);
  // A keyword that moved onto the app at graduation is measured now: the writer refuses to remove it as
  // a parked one, in its own words.
  if (!query && space.promotedToAppStoreId) {
    if (const auto app = store.apps().findByAppStoreId(*space.promotedToAppStoreId)) {
      query = findKeyword(store.queries().ofApp(app->rowId), args.keyword, country);
    }
  }
  if (!query) {
    throw CommandError(Exit::failed, fmt::format("{} is not parked in {}.", describeKeyword(args.keyword, country),
                                                 spaceLabel(space)));
  }
  watchlist.edit([&] { watchlist.writer().removeParkedKeyword(*query); });
  if (context.json) {
    printJson(context.out(), {{"removed", {{"keyword", query->keyword}, {"country", query->country}}},
                              {"space", spaceJson(store, space)}});
    return;
  }
  context.out() << fmt::format("Removed {} from {}.\n", describeKeyword(query->keyword, query->country),
                               spaceLabel(space));
}

struct GraduateArgs {
  std::string space;
  std::string input;
  std::string country;
  bool mine = false;
  std::int64_t pick = 0;
  CLI::Option* pickOption = nullptr;
};

void runGraduate(Context& context, const GraduateArgs& args) {
  const auto country = requireCountry(args.country);
  Watchlist watchlist(context);
  auto& store = watchlist.store();
  const auto space = requireSpace(store, args.space);
  std::optional<std::string> pickNote;
  const auto found = resolveApp(context, args.input, country,
                                args.pickOption->count() > 0 ? std::optional(args.pick) : std::nullopt, pickNote);
  const auto tracked = watchlist.writer().findApp(found.id);
  const bool claim = args.mine || (tracked && tracked->isMine);
  store::WatchlistWriter::Receipt receipt;
  watchlist.edit(
      [&] { receipt = watchlist.writer().graduateSpace(space, research::trackedFacts(found), country, claim); });

  if (context.json) {
    nlohmann::json moved = nlohmann::json::array();
    for (const auto& query : receipt.movedQueries) {
      moved.push_back(toJson(store, store.queries().get(query.rowId)));
    }
    nlohmann::json kept = nlohmann::json::array();
    for (const auto& query : receipt.keptInSpace) {
      kept.push_back(toJson(store, query));
    }
    printJson(context.out(), {{"space", spaceJson(store, store.spaces().get(space.rowId))},
                              {"app", toJson(store, receipt.app)},
                              {"createdApp", receipt.createdApp},
                              {"movedQueries", std::move(moved)},
                              {"keptInSpace", std::move(kept)},
                              {"pickedByNameAmongSeveral", pickNote.has_value()}});
    return;
  }
  auto& out = context.out();
  out << fmt::format("Graduated {} to {} ({}){}{} moved{}{} kept in the space\n", spaceLabel(space),
                     receipt.app.displayName, receipt.app.appStoreId, kDot, receipt.movedQueries.size(), kDot,
                     receipt.keptInSpace.size());
  for (const auto& query : receipt.keptInSpace) {
    out << fmt::format("  kept: {} — {} already has it\n", describeKeyword(query.keyword, query.country),
                       receipt.app.displayName);
  }
  if (pickNote) {
    out << *pickNote << "\n";
  }
}

void runList(Context& context) {
  Watchlist watchlist(context);
  auto& store = watchlist.store();
  const auto spaces = store.spaces().all();
  if (context.json) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& space : spaces) {
      list.push_back(spaceJson(store, space));
    }
    printJson(context.out(), list);
    return;
  }
  if (spaces.empty()) {
    context.out() << "No research space yet. Start one with: tovra space create NAME\n";
    return;
  }
  Table table({"Space", "Keywords", "Created", "Graduated to", "Id"});
  for (const auto& space : spaces) {
    std::string graduated(kEmDash);
    if (space.promotedToAppStoreId) {
      const auto app = store.apps().findByAppStoreId(*space.promotedToAppStoreId);
      graduated = app ? app->displayName : *space.promotedToAppStoreId;
    }
    table.add({space.name, std::to_string(store.queries().ofSpace(space.rowId).size()),
               store::isoUtc(space.createdAt).substr(0, 10), graduated, space.id});
  }
  table.print(context.out(), context.tableWidth());
  context.out() << measure::texts::kResearchSpaceNotMeasured << "\n";
}

void runDelete(Context& context, const std::string& which, bool yes) {
  Watchlist watchlist(context);
  const auto space = requireSpace(watchlist.store(), which);
  confirmDeletion(context, watchlist, store::DeletionPlan::forSpace(watchlist.store(), space), yes);
}

void addSpaceCommands(CLI::App& group, Context& context) {
  auto create = std::make_shared<std::tuple<std::string, std::string, CLI::Option*>>();
  auto* createCommand = group.add_subcommand("create", "Start a research space");
  createCommand->add_option("name", std::get<0>(*create), "Its name (blank: “research space”)")->required();
  std::get<2>(*create) = createCommand->add_option("--note", std::get<1>(*create), "A note kept with it");
  createCommand->callback([create, &context] {
    runCreate(context, std::get<0>(*create), std::get<1>(*create), std::get<2>(*create)->count() > 0);
  });

  auto rename = std::make_shared<std::pair<std::string, std::string>>();
  auto* renameCommand = group.add_subcommand("rename", "Rename a research space");
  renameCommand->add_option("space", rename->first, "The space's name or id")->required();
  renameCommand->add_option("new-name", rename->second, "The new name")->required();
  renameCommand->callback([rename, &context] { runRename(context, rename->first, rename->second); });

  auto park = std::make_shared<ParkArgs>();
  auto* parkCommand = group.add_subcommand("park", "Keep keywords in a research space; a paste like keywords add");
  parkCommand->add_option("space", park->space, "The space's name or id")->required();
  parkCommand->add_option("--country", park->country, "Storefront country code, e.g. us")
      ->required()
      ->check(countryCheck());
  parkCommand->add_option("text", park->texts,
                          "Keywords: words run together into one keyword; commas, semicolons or new lines "
                          "separate several; - (or nothing, when piped) reads them from standard input");
  parkCommand->callback([park, &context] { runPark(context, *park); });

  auto unpark = std::make_shared<KeywordArgs>();
  auto* unparkCommand = group.add_subcommand("unpark", "Remove a keyword parked in a research space");
  unparkCommand->add_option("space", unpark->space, "The space's name or id")->required();
  unparkCommand->add_option("keyword", unpark->keyword, "The keyword")->required();
  unparkCommand->add_option("--country", unpark->country, "Storefront country code, e.g. us")
      ->required()
      ->check(countryCheck());
  unparkCommand->callback([unpark, &context] { runUnpark(context, *unpark); });

  auto graduate = std::make_shared<GraduateArgs>();
  auto* graduateCommand = group.add_subcommand("graduate", "Move a space's keywords onto an app and track it");
  graduateCommand->add_option("space", graduate->space, "The space's name or id")->required();
  graduateCommand->add_option("input", graduate->input, "App name, URL, ID, or bundle ID")->required();
  graduateCommand->add_option("--country", graduate->country, "Storefront country code, e.g. us")
      ->required()
      ->check(countryCheck());
  graduateCommand->add_flag("--mine", graduate->mine, "Mark the app as yours");
  graduate->pickOption = graduateCommand->add_option("--pick", graduate->pick, "Which of several results (1 = first)");
  graduateCommand->callback([graduate, &context] { runGraduate(context, *graduate); });

  auto* listCommand = group.add_subcommand("list", "The research spaces");
  listCommand->callback([&context] { runList(context); });

  auto del = std::make_shared<std::pair<std::string, bool>>();
  auto* deleteCommand = group.add_subcommand("delete", "Delete a research space with the keywords parked in it");
  deleteCommand->add_option("space", del->first, "The space's name or id")->required();
  deleteCommand->add_flag("--yes", del->second, "Delete; without it the plan is only shown");
  deleteCommand->callback([del, &context] { runDelete(context, del->first, del->second); });

  for (auto* command : group.get_subcommands({})) {
    command->fallthrough();
  }
}

const bool registered = registerCommand({"space",
                                         [](CLI::App& root, Context& context) {
                                           auto* group = root.add_subcommand(
                                               "space", "Research spaces: keywords kept before there is an app");
                                           group->require_subcommand(1);
                                           group->fallthrough();
                                           addSpaceCommands(*group, context);
                                         },
                                         22});

}  // namespace
}  // namespace tovra::cli
