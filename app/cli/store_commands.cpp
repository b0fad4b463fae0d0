// The commands about the local store itself: what it holds (store) and the whole of it as JSON (export).
#include <CLI/CLI.hpp>
#include <filesystem>

#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/store/export.h"
#include "app/store/footprint.h"
#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::cli {
namespace {

namespace fs = std::filesystem;

void runStore(Context& context) {
  auto& store = context.store();
  store::StoreFootprint footprint;
  store::StoreInventory inventory;
  try {
    footprint = store::StoreFootprint::measure(store);
    inventory = store::StoreInventory::count(store);
  } catch (const store::StoreError& error) {
    throw CommandError(Exit::failed, error.description());
  }
  if (context.json) {
    nlohmann::json files = nlohmann::json::array();
    for (const auto& file : footprint.files) {
      files.push_back({{"name", file.name}, {"bytes", file.bytes ? nlohmann::json(*file.bytes) : nullptr}});
    }
    nlohmann::json rows = nlohmann::json::array();
    for (const auto& row : inventory.rows) {
      rows.push_back({{"kind", std::string(store::kindName(row.kind))},
                      {"label", row.label},
                      {"count", row.count},
                      {"note", row.note}});
    }
    printJson(context.out(), {{"files", files}, {"rows", rows}});
    return;
  }
  context.out() << store::storeSummary(footprint, inventory) << "\n\n";
  Table table({"Records", "Count", "What they are"});
  for (const auto& row : inventory.rows) {
    table.add({row.label, std::to_string(row.count), row.note});
  }
  table.print(context.out(), context.tableWidth());
}

void runExport(Context& context, const std::string& output) {
  auto& store = context.store();
  const auto now = context.wall().now();
  const std::string proposed = store::proposedExportFileName(now, context.services().localTime());
  fs::path target = output.empty() ? fs::path(proposed) : fs::path(output);
  std::error_code error;
  if (fs::is_directory(target, error)) {
    target /= proposed;
  }
  if (auto absolute = fs::absolute(target, error); !error) {
    target = std::move(absolute);
  }
  try {
    store::exportStoreToFile(store, now, target);
  } catch (const store::StoreError& failure) {
    throw CommandError(Exit::failed, failure.description());
  }
  if (context.json) {
    printJson(context.out(), {{"path", target.string()}});
    return;
  }
  context.out() << target.string() << "\n";
}

const bool registered = [] {
  registerCommand({"store",
                   [](CLI::App& app, Context& context) {
                     auto* sub = app.add_subcommand("store", "What the local store holds and how much disk it takes");
                     sub->callback([&context] { runStore(context); });
                   },
                   80});
  registerCommand({"export",
                   [](CLI::App& app, Context& context) {
                     auto output = std::make_shared<std::string>();
                     auto* sub = app.add_subcommand(
                         "export", "Write the whole store as one JSON file; nothing is asked of the App Store");
                     sub->add_option("-o,--output", *output,
                                     "The file to write, or a folder for the proposed name "
                                     "(default: tovra-export-<local date>.json in the current folder)");
                     // The two texts shown beside the export action: it is local only, and why it is JSON.
                     sub->footer(std::string(store::kExportLocalOnly) + "\n\n" + std::string(store::kExportWhyJson));
                     sub->callback([output, &context] { runExport(context, *output); });
                   },
                   81});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
