#include "app/cli/watchlist_cli.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "AsoKit/aso_error.h"
#include "AsoKit/storefront.h"
#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/watchlist_json.h"
#include "app/research/app_reference.h"
#include "app/research/argument_keywords.h"
#include "app/research/keyword_list_parser.h"
#include "app/research/research_texts.h"
#include "app/research/space_names.h"
#include "app/store/keyword_draft.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

constexpr std::string_view kSpacePrefix = "space:";

CommandError failed(const std::string& message) {
  return CommandError(Exit::failed, message);
}

}  // namespace

Watchlist::Watchlist(Context& context)
    : store_(&context.store()), writer_(*store_, context.wall()), editor_(*store_, writer_) {}

void Watchlist::edit(const std::function<void()>& change) {
  if (!editor_.apply(change)) {
    throw failed(editor_.failure().value_or(std::string(store::kSaveFailed)));
  }
}

std::string requireCountry(std::string_view country) {
  requireUtf8(country, "The country");
  auto code = asokit::storefront::normalizeCountry(country);
  if (!asokit::storefront::storefrontId(code)) {
    throw failed(asokit::AsoError::unknownStorefront(std::string(country)).description());
  }
  return code;
}

void requireUtf8Texts(const std::vector<std::string>& texts, std::string_view what) {
  for (const auto& text : texts) {
    requireUtf8(text, what);
  }
}

store::TrackedApp requireApp(store::Store& store, std::string_view app) {
  requireUtf8(app, "The app");
  const auto match = research::findTrackedApp(store, app);
  if (match.app) {
    return *match.app;
  }
  if (!match.named.empty()) {
    throw failed(research::ambiguousAppText(app, match.named));
  }
  if (match.byId) {
    throw failed(
        fmt::format("No tracked app has the App Store id “{}”. Track it first with: tovra app add {} --country CC",
                    match.id, match.id));
  }
  const auto text = asokit::text::trimWhitespace(app);
  throw failed(
      fmt::format("No tracked app is called “{}” or has that bundle id. Name an app by its App Store id, bundle "
                  "id, App Store link or name; track one with: tovra app add {} --country CC",
                  text, text.empty() ? "NAME" : text));
}

store::ResearchSpace requireSpace(store::Store& store, std::string_view nameOrId) {
  requireUtf8(nameOrId, "The research space");
  const auto wanted = asokit::text::trimWhitespace(nameOrId);
  if (auto space = store.spaces().findById(wanted)) {
    return *space;
  }
  const auto named = research::spacesNamed(store, wanted);
  if (named.size() == 1) {
    return named.front();
  }
  if (named.empty()) {
    throw failed(fmt::format("There is no research space called “{}”.", wanted));
  }
  std::string ids;
  for (const auto& space : named) {
    ids += (ids.empty() ? "" : ", ") + space.id;
  }
  throw failed(fmt::format("{} research spaces are called “{}”; name one by its id: {}", named.size(), wanted, ids));
}

std::string spaceLabel(const store::ResearchSpace& space) {
  return "the research space “" + space.name + "”";
}

Owner Owner::of(const store::TrackedApp& app) {
  return Owner{app, std::nullopt, app.displayName};
}

Owner Owner::of(const store::ResearchSpace& space) {
  return Owner{std::nullopt, space, spaceLabel(space)};
}

std::vector<store::TrackedQuery> Owner::queries(store::Store& store) const {
  return app ? store.queries().ofApp(app->rowId) : store.queries().ofSpace(space->rowId);
}

Owner requireOwner(store::Store& store, std::string_view text) {
  if (text.starts_with(kSpacePrefix)) {
    return Owner::of(requireSpace(store, text.substr(kSpacePrefix.size())));
  }
  return Owner::of(requireApp(store, text));
}

std::optional<store::TrackedQuery> findKeyword(const std::vector<store::TrackedQuery>& queries,
                                               std::string_view keyword, std::string_view country) {
  const auto key = base::queryKey(keyword, country);
  for (const auto& query : queries) {
    if (base::queryKey(query.keyword, query.country) == key) {
      return query;
    }
  }
  return std::nullopt;
}

std::string describeKeyword(std::string_view keyword, std::string_view country) {
  return research::termInCountry(base::collapseWhitespace(keyword), country);
}

namespace {

struct Paste {
  research::KeywordListParser::Result result;
  std::optional<std::string> notice;
  std::vector<store::KeywordDraft> drafts;
};

// The list as the user gave it: the arguments, or standard input for a lone "-" or for no argument at all
// when something is piped in. A "-" is never a keyword.
std::string keywordText(Context& context, const std::vector<std::string>& texts) {
  const bool fromInput = texts.size() == 1 && texts.front() == research::kStandardInputArgument;
  if (!fromInput && std::ranges::count(texts, std::string(research::kStandardInputArgument)) > 0) {
    throw CommandError(Exit::usage, std::string(research::kStandardInputMixed));
  }
  if (fromInput || texts.empty()) {
    if (texts.empty() && context.stdinIsTerminal()) {
      throw CommandError(Exit::usage, std::string(research::kNoKeywordGiven));
    }
    return context.readInput();
  }
  auto paste = research::pasteFromArguments(texts);
  if (const auto warning = research::joinedWarning(paste.joined)) {
    context.err() << *warning << "\n";
  }
  return std::move(paste.text);
}

Paste readPaste(const std::string& joined, const std::vector<store::TrackedQuery>& existing,
                const std::string& country) {
  requireUtf8(joined, "The keyword text");
  std::unordered_set<std::string> keys;
  for (const auto& query : existing) {
    if (base::normalizedCountry(query.country) == country) {
      keys.insert(base::keywordKey(query.keyword));
    }
  }
  Paste paste;
  paste.result = research::KeywordListParser::parse(joined, keys, research::kKeywordDraftLimit);
  paste.notice = research::noticeText(paste.result);
  const auto& r = paste.result;
  if (r.keywords.empty() && !paste.notice) {
    throw failed("There is no keyword in what you gave: it is empty or only separators and white space.");
  }
  // As in the sheet, what is accepted is added and the notice tells what was dropped; the command fails
  // only when a paste that dropped keywords to the length or the count limit leaves nothing to add.
  if (r.keywords.empty() && (r.tooLong > 0 || r.overLimit > 0)) {
    throw failed(*paste.notice + "\nNothing was added.");
  }
  for (const auto& keyword : r.keywords) {
    paste.drafts.push_back(
        store::KeywordDraft{store::randomUuid(), keyword, country, store::KeywordProvenance::typedByUser});
  }
  return paste;
}

void printPaste(Context& context, const Paste& paste, const std::vector<store::TrackedQuery>& added,
                const std::string& target, const std::string& country) {
  if (context.json) {
    nlohmann::json keywords = nlohmann::json::array();
    for (const auto& query : added) {
      keywords.push_back(toJson(context.store(), query));
    }
    printJson(context.out(), {{"added", std::move(keywords)},
                              {"notice", orNull(paste.notice)},
                              {"repeated", paste.result.repeated},
                              {"alreadyAdded", paste.result.alreadyAdded},
                              {"tooLong", paste.result.tooLong},
                              {"overLimit", paste.result.overLimit}});
    return;
  }
  auto& out = context.out();
  if (added.empty()) {
    out << fmt::format("Nothing new for {} in {}.\n", target, upperCountry(country));
  } else {
    out << fmt::format("Added {} {} to {} in {}:\n", added.size(), added.size() == 1 ? "keyword" : "keywords", target,
                       upperCountry(country));
    for (const auto& query : added) {
      out << "  " << query.keyword << "\n";
    }
  }
  if (paste.notice) {
    out << *paste.notice << "\n";
  }
}

}  // namespace

void addPaste(Context& context, Watchlist& watchlist, const Owner& owner, const std::vector<std::string>& texts,
              const std::string& country) {
  const auto paste = readPaste(keywordText(context, texts), owner.queries(watchlist.store()), country);
  std::vector<store::TrackedQuery> added;
  watchlist.edit([&] {
    added = owner.app ? watchlist.writer().addKeywords(*owner.app, paste.drafts)
                      : watchlist.writer().parkKeywords(*owner.space, paste.drafts);
  });
  printPaste(context, paste, added, owner.label, country);
}

void confirmDeletion(Context& context, Watchlist& watchlist, const store::DeletionPlan& plan, bool yes) {
  if (yes) {
    watchlist.editor().askToDelete(plan);
    if (!watchlist.editor().confirmDeletion()) {
      throw failed(watchlist.editor().failure().value_or(std::string(store::kSaveFailed)));
    }
  }
  if (context.json) {
    printJson(context.out(), toJson(plan, yes));
    return;
  }
  auto& out = context.out();
  out << plan.title() << "\n" << plan.summary() << "\n";
  for (const auto& line : plan.explanation(store::DeletionPlan::Reader::commandLine)) {
    out << line << "\n";
  }
  out << plan.warning() << "\n";
  out << (yes ? "Deleted.\n" : "Nothing was deleted. Run the command again with --yes to delete.\n");
}

}  // namespace tovra::cli
