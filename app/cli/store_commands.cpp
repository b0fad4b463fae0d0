// The commands about the local store itself: what it holds (store) and the whole of it as JSON (export).
#include <CLI/CLI.hpp>
#include <filesystem>

#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/store/export.h"
#include "app/store/footprint.h"
#include "app/store/integrity.h"
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

std::string_view verdictName(store::StoreCheckResult::Verdict verdict) {
  switch (verdict) {
    case store::StoreCheckResult::Verdict::sound:
      return "sound";
    case store::StoreCheckResult::Verdict::damaged:
      return "damaged";
    case store::StoreCheckResult::Verdict::unchecked:
      break;
  }
  return "unchecked";
}

nlohmann::json salvageJson(const store::SalvageReport& report) {
  return {{"opened", report.opened},     {"whole", report.whole},       {"apps", report.apps},
          {"keywords", report.keywords}, {"readings", report.readings}, {"records", report.records},
          {"dropped", report.dropped},   {"failure", report.failure}};
}

// The full check the user asks for. A damaged store is dealt with at once, as a damaged read would be:
// moved aside whole and salvaged into a new store.
void runCheck(Context& context) {
  auto& store = context.store();
  if (!store.file()) {
    throw CommandError(Exit::failed, std::string(store::kNoFileToCheck));
  }
  const auto result = store::checkStoreFile(*store.file(), store::CheckDepth::full);
  const std::string summary = store::checkSummary(result);
  std::optional<store::StoreOpenNotice> notice;
  if (result.damaged()) {
    context.services().noteStoreDamage();
    notice = context.services().salvageDamagedStore(summary);
  }
  if (context.json) {
    nlohmann::json out = {{"verdict", std::string(verdictName(result.verdict))},
                          {"findings", result.findings},
                          {"movedTo", nullptr},
                          {"salvaged", nullptr}};
    if (notice && notice->recovered()) {
      out["movedTo"] = notice->recovered()->folder.string();
      if (notice->recovered()->salvaged) {
        out["salvaged"] = salvageJson(*notice->recovered()->salvaged);
      }
    }
    printJson(context.out(), out);
  } else {
    context.out() << summary << "\n";
  }
  if (notice) {
    throw CommandError(Exit::failed, Context::noticeText(*notice));
  }
  if (result.verdict != store::StoreCheckResult::Verdict::sound) {
    throw CommandError(Exit::failed, "");
  }
}

struct ExportArgs {
  std::string output;
  bool force = false;
};

// The file to write: the named one, or the proposed name in the named folder (the current one by
// default). A named file that exists is replaced only with --force; the proposed name is never replaced:
// a second export of the day gets a number instead.
struct ExportTarget {
  fs::path path;
  bool named = false;
  fs::path folder;       // of a proposed name
  std::string proposed;  // the day's name, when the name is proposed
  int number = 1;        // of the proposed name
};

// The path as written in the report: absolute, when the system can say.
fs::path absolutePath(fs::path path) {
  std::error_code error;
  auto absolute = fs::absolute(path, error);
  return error ? path : absolute;
}

ExportTarget exportTarget(Context& context, const ExportArgs& args, asokit::WallTime now) {
  ExportTarget target;
  target.proposed = store::proposedExportFileName(now, context.services().localTime());
  std::error_code error;
  target.path = args.output.empty() ? fs::path(target.proposed) : fs::path(args.output);
  target.named = !args.output.empty() && !fs::is_directory(target.path, error);
  if (!target.named) {
    target.folder = args.output.empty() ? fs::path() : target.path;
    target.path = target.folder / target.proposed;
    while (fs::exists(target.path, error)) {
      target.path = target.folder / store::numberedExportFileName(target.proposed, ++target.number);
    }
  } else if (fs::exists(target.path, error) && !args.force) {
    throw CommandError(Exit::failed,
                       target.path.string() + " already exists; nothing was written. Add --force to replace it.");
  }
  target.path = absolutePath(target.path);
  return target;
}

void runExport(Context& context, const ExportArgs& args) {
  auto& store = context.store();
  const auto now = context.wall().now();
  if (args.output == "-") {
    // The export itself is the output; --json changes nothing, it is JSON already.
    try {
      store::exportStore(store, now, [&](std::string_view chunk) { context.out() << chunk; });
    } catch (const store::StoreError& failure) {
      throw CommandError(Exit::failed, failure.description());
    }
    context.out() << std::flush;
    return;
  }
  auto target = exportTarget(context, args, now);
  const auto existing = target.named && args.force ? store::ExistingFile::replace : store::ExistingFile::keep;
  while (true) {
    try {
      store::exportStoreToFile(store, now, target.path, existing);
      break;
    } catch (const store::ExportNameTaken& taken) {
      // Another export took the name while this one was written: a proposed name moves on to the next number.
      if (target.named) {
        throw CommandError(Exit::failed, taken.description() + " Add --force to replace it.");
      }
      target.path = absolutePath(target.folder / store::numberedExportFileName(target.proposed, ++target.number));
    } catch (const store::StoreError& failure) {
      throw CommandError(Exit::failed, failure.description());
    }
  }
  if (context.json) {
    printJson(context.out(), {{"path", target.path.string()}});
    return;
  }
  context.out() << target.path.string() << "\n";
}

const bool registered = [] {
  registerCommand({"store",
                   [](CLI::App& app, Context& context) {
                     auto* sub = app.add_subcommand("store", "What the local store holds and how much disk it takes");
                     auto check = std::make_shared<bool>(false);
                     sub->add_flag("--check", *check,
                                   "Check every page, record and index of the store file instead; a damaged store "
                                   "is moved aside and what can still be read is salvaged into a new one");
                     sub->footer(
                         "Exit status with --check: 0 the store is sound; 1 the store was damaged (it was moved aside "
                         "whole and what could be read was salvaged, as told on stderr) or could not be checked.");
                     sub->callback([check, &context] {
                       if (*check) {
                         runCheck(context);
                       } else {
                         runStore(context);
                       }
                     });
                   },
                   80});
  registerCommand({"export",
                   [](CLI::App& app, Context& context) {
                     auto args = std::make_shared<ExportArgs>();
                     auto* sub = app.add_subcommand(
                         "export", "Write the whole store as one JSON file; nothing is asked of the App Store");
                     sub->add_option("-o,--output", args->output,
                                     "The file to write, - for standard output, or a folder for the proposed name "
                                     "(default: tovra-export-<local date>.json in the current folder)");
                     sub->add_flag("--force", args->force, "Replace the file named with -o when it exists");
                     // The two texts shown beside the export action: it is local only, and why it is JSON.
                     sub->footer(std::string(store::kExportLocalOnly) + "\n\n" + std::string(store::kExportWhyJson));
                     sub->callback([args, &context] { runExport(context, *args); });
                   },
                   81});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
