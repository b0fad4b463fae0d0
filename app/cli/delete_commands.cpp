// The whole store back to zero, listed before it goes.
#include <CLI/CLI.hpp>

#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/watchlist_cli.h"
#include "app/store/deletion_plan.h"

namespace tovra::cli {
namespace {

void runDeleteEverything(Context& context, bool yes) {
  Watchlist watchlist(context);
  confirmDeletion(context, watchlist, store::DeletionPlan::forEverything(watchlist.store()), yes);
}

const bool registered = registerCommand(
    {"delete-everything",
     [](CLI::App& root, Context& context) {
       auto yes = std::make_shared<bool>(false);
       auto* command = root.add_subcommand(
           "delete-everything", "Delete every record: apps, keywords, history, saved searches and store hints");
       command->add_flag("--yes", *yes, "Delete; without it the plan is only shown");
       command->fallthrough();
       command->callback([yes, &context] { runDeleteEverything(context, *yes); });
     },
     90});

}  // namespace
}  // namespace tovra::cli
