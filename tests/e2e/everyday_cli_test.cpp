// The command line as people and scripts use it every day, against the fake store: keyword lists from a
// pipe, tables that fit the terminal, the user's words instead of internal names, one explanation per
// run, help with examples for every command, shell completions and the manual page.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunOptions;
using tovra::e2e::RunResult;

constexpr const char* kLab = "1000000001";
constexpr const char* kNoResults = "No results — the App Store returned nothing for this term";

json scenario() {
  return {{"apps", {{kLab, {{"name", "Photo Lab"}, {"developer", "Lab Works"}}}}},
          {"search",
           {{"us",
             {{"photo lab", {kLab}},
              {"photo editor", {"999", kLab}},
              {"qzxv", json::array()},
              {"collage maker", {{"ids", {"998", kLab}}, {"padTo", 40}}}}}}}};
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    out.push_back(line);
  }
  return out;
}

// Terminal cells of a line of ASCII, Latin letters and the few symbols the tables use (“ ” · — …).
std::size_t cells(const std::string& line) {
  std::size_t n = 0;
  for (const char c : line) {
    n += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  }
  return n;
}

std::size_t occurrences(const std::string& text, const std::string& piece) {
  std::size_t n = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
    ++n;
  }
  return n;
}

class EverydayCliTest : public ::testing::Test {
 protected:
  Harness h{scenario()};

  // Every keyword of every app and space, in alphabetical order.
  std::vector<std::string> keywords() const {
    std::vector<std::string> out;
    for (const auto& app : h.okJson({"app", "list"})) {
      for (const auto& query : app["queries"]) {
        out.push_back(query["keyword"]);
      }
    }
    for (const auto& space : h.okJson({"space", "list"})) {
      for (const auto& query : space["queries"]) {
        out.push_back(query["keyword"]);
      }
    }
    std::ranges::sort(out);
    return out;
  }
};

// ---- keyword lists ----

struct PasteCase {
  const char* name;
  std::vector<std::string> target;  // the command up to its keyword text
};

class KeywordPasteTest : public EverydayCliTest, public ::testing::WithParamInterface<PasteCase> {
 protected:
  void SetUp() override {
    h.ok({"app", "add", kLab, "--country", "us"});
    h.ok({"space", "create", "ideas"});
  }
  std::vector<std::string> command(std::vector<std::string> words) const {
    auto args = GetParam().target;
    args.insert(args.end(), words.begin(), words.end());
    return args;
  }
};

TEST_P(KeywordPasteTest, ADashOrAPipeReadsTheListFromStandardInput) {
  auto r = h.ok(command({"-"}), {.input = "photo editor\ncollage maker; selfie\n"});
  EXPECT_EQ(keywords(), (std::vector<std::string>{"collage maker", "photo editor", "selfie"}));

  // Nothing after the options, and something piped in: the same.
  r = h.ok(command({}), {.input = "retouch\nphoto editor\n"});
  EXPECT_THAT(r.out, HasSubstr("1 already added"));
  EXPECT_EQ(keywords(), (std::vector<std::string>{"collage maker", "photo editor", "retouch", "selfie"}));
}

TEST_P(KeywordPasteTest, ADashWithOtherWordsIsAUsageErrorAndNothingIsStored) {
  const auto r = h.run(command({"maps", "-"}), {.input = "selfie\n"});
  EXPECT_EQ(r.exitCode, 2) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("“-” reads the keywords from standard input"));
  EXPECT_TRUE(keywords().empty());
}

TEST_P(KeywordPasteTest, UnquotedWordsAreOneKeywordAndTheWarningNamesIt) {
  auto r = h.ok(command({"photo", "editor"}));
  EXPECT_THAT(r.err, HasSubstr("Read as one keyword: “photo editor”."));
  EXPECT_EQ(keywords(), (std::vector<std::string>{"photo editor"}));

  r = h.ok(command({"collage", "maker,", "selfie"}));
  EXPECT_THAT(r.err, HasSubstr("“collage maker”"));
  EXPECT_EQ(keywords(), (std::vector<std::string>{"collage maker", "photo editor", "selfie"}));

  r = h.ok(command({"retouch", "filters", "stickers"}));
  EXPECT_THAT(keywords(), ::testing::Contains("retouch filters stickers"));

  // Each quoted keyword stands alone: no warning.
  r = h.ok(command({"night mode", "vintage"}));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(keywords().size(), 6u);
}

TEST_P(KeywordPasteTest, APipedListAddsWhatItCanAndTellsWhatWasDropped) {
  const std::string tooLong(101, 'x');
  const auto r = h.ok(command({"-"}), {.input = "maps\r\nMaps\n" + tooLong + "\n\nweather\n"});
  EXPECT_THAT(r.out, HasSubstr("Added 2 keywords"));
  EXPECT_THAT(r.out, HasSubstr("1 repeated in what you pasted · 1 longer than 100 characters"));
  EXPECT_EQ(keywords(), (std::vector<std::string>{"maps", "weather"}));
}

TEST_P(KeywordPasteTest, NothingGivenAndNothingPipedAddsNothing) {
  const auto r = h.run(command({}), {.input = ""});
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("There is no keyword in what you gave"));
  EXPECT_TRUE(keywords().empty());
}

INSTANTIATE_TEST_SUITE_P(Commands, KeywordPasteTest,
                         ::testing::Values(PasteCase{"KeywordsAdd", {"keywords", "add", kLab, "--country", "us"}},
                                           PasteCase{"SpacePark", {"space", "park", "ideas", "--country", "us"}}),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- output that fits ----

struct WidthCase {
  const char* name;
  tovra::e2e::Environment env;
  std::vector<std::string> flags;
  std::optional<std::size_t> width;  // none: printed whole
};

class TableWidthTest : public EverydayCliTest, public ::testing::WithParamInterface<WidthCase> {};

TEST_P(TableWidthTest, TablesFitTheWidthCuttingTheLongestTextWithAnEllipsis) {
  const std::string longKeyword = "photo editor with filters stickers collage frames and a great many effects";
  h.ok({"app", "add", kLab, "--country", "us"});
  h.ok({"keywords", "add", kLab, "--country", "us", longKeyword + ", maps"});
  auto args = GetParam().flags;
  args.insert(args.end(), {"keywords", "list"});
  const auto r = h.ok(args, {.env = GetParam().env});
  const auto printed = lines(r.out);
  ASSERT_EQ(printed.size(), 3u) << r.out;
  if (const auto width = GetParam().width) {
    for (const auto& line : printed) {
      EXPECT_LE(cells(line), *width) << line;
    }
    EXPECT_THAT(r.out, Not(HasSubstr(longKeyword)));
    EXPECT_THAT(r.out, HasSubstr("photo edi"));
    EXPECT_THAT(r.out, HasSubstr("…"));
  } else {
    EXPECT_THAT(r.out, HasSubstr(longKeyword));
  }
  // Short columns keep their width: the country and the app's name are whole in every case.
  for (std::size_t i = 1; i < printed.size(); ++i) {
    EXPECT_THAT(printed[i], HasSubstr("Photo Lab  "));
    EXPECT_THAT(printed[i], HasSubstr("  US  "));
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, TableWidthTest,
                         ::testing::Values(WidthCase{"NotATerminalIs80", {{"COLUMNS", std::nullopt}}, {}, 80},
                                           WidthCase{"ColumnsNarrows", {{"COLUMNS", "100"}}, {}, 100},
                                           WidthCase{"ColumnsOf64", {{"COLUMNS", "64"}}, {}, 64},
                                           WidthCase{"WideIsWhole", {{"COLUMNS", "60"}}, {"--wide"}, std::nullopt}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(EverydayCliTest, KeywordListsUseTheUsersWordsNotInternalNames) {
  h.ok({"app", "add", kLab, "--country", "us"});
  h.ok({"keywords", "add", kLab, "--country", "us", "photo editor"});
  auto r = h.ok({"--wide", "keywords", "list"});
  EXPECT_THAT(r.out, HasSubstr("not measured yet"));
  EXPECT_THAT(r.out, HasSubstr("typed"));
  EXPECT_THAT(r.out, Not(HasSubstr("typedByUser")));
  h.ok({"measure"});
  r = h.ok({"--wide", "keywords", "list"});
  EXPECT_THAT(r.out, HasSubstr("  measured  "));
  EXPECT_THAT(r.out, Not(HasSubstr("not measured yet")));

  r = h.ok({"app", "delete", kLab});
  EXPECT_THAT(r.out, Not(HasSubstr("Rivals")));
}

TEST_F(EverydayCliTest, AnEmptyAnswerReadsAsNoResultsNeverAsTheTopZero) {
  h.ok({"app", "add", kLab, "--country", "us"});
  h.ok({"keywords", "add", kLab, "--country", "us", "qzxv"});
  auto r = h.ok({"--wide", "measure"});
  EXPECT_THAT(r.out, HasSubstr(kNoResults));
  r = h.ok({"--wide", "today"});
  EXPECT_THAT(r.out, HasSubstr(kNoResults));
  r = h.ok({"--wide", "history", kLab, "qzxv", "--country", "us"});
  EXPECT_THAT(r.out, HasSubstr(kNoResults));
  r = h.ok({"--json", "check", kLab, "qzxv", "--country", "us"});
  EXPECT_EQ(json::parse(r.out)["text"], kNoResults);
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"measure"}, {"today"}, {"search", "qzxv", "--country", "us"}, {"discover", "qzxv", "--country", "us"}}) {
    r = h.ok(args);
    EXPECT_THAT(r.out, HasSubstr("No results")) << args.front();
    EXPECT_THAT(r.out, Not(HasSubstr("top 0")));
    EXPECT_THAT(r.out, Not(HasSubstr("0 results")));
  }
}

TEST_F(EverydayCliTest, MeasureExplainsOnceAndQuietPrintsOnlyTheCounts) {
  h.ok({"app", "add", kLab, "--country", "us"});
  h.ok({"keywords", "add", kLab, "--country", "us", "photo editor, collage maker"});
  auto r = h.ok({"measure"});
  EXPECT_EQ(occurrences(r.out, "One request answers every app on the same keyword and country"), 1u) << r.out;
  EXPECT_EQ(occurrences(r.out, "asked once"), 0u) << r.out;
  EXPECT_THAT(r.out, HasSubstr("2 measured · 0 failed · 0 skipped · 2 requests · 2 keywords\n"));

  r = h.ok({"measure", "--quiet"});
  EXPECT_EQ(r.out, "2 measured · 0 failed · 0 skipped · 2 requests · 2 keywords\n");
  EXPECT_EQ(r.err, "");
}

// ---- help, completion and the manual ----

// Every command the manual lists, as the path typed after "tovra".
std::vector<std::vector<std::string>> commandPaths(const std::string& manual) {
  std::vector<std::vector<std::string>> paths;
  for (const auto& line : lines(manual)) {
    if (!line.starts_with(".SS \"\\fBtovra ")) {
      continue;
    }
    const auto start = line.find("tovra ") + 6;
    std::istringstream words(line.substr(start, line.find("\\fR", start) - start));
    std::vector<std::string> path;
    for (std::string word; words >> word;) {
      std::string plain;
      for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '\\') {
          plain += word[i];
        }
      }
      path.push_back(plain);
    }
    paths.push_back(path);
  }
  return paths;
}

TEST_F(EverydayCliTest, EveryCommandsHelpShowsExamplesAndTheManualListsThemAll) {
  const auto manual = h.ok({"manual"}).out;
  ASSERT_TRUE(manual.starts_with(".TH TOVRA 1")) << manual.substr(0, 200);
  EXPECT_THAT(manual, HasSubstr(".SH EXIT STATUS"));
  const auto paths = commandPaths(manual);
  ASSERT_GE(paths.size(), 25u) << manual;
  std::set<std::string> top;
  for (const auto& path : paths) {
    auto args = path;
    args.push_back("--help");
    const auto r = h.ok(args);
    EXPECT_THAT(r.out, HasSubstr("Examples:\n  tovra " + path.front())) << args.front() << " " << args[1];
    top.insert(path.front());
  }
  for (const auto* command : {"search", "keywords", "measure", "today", "export", "completion"}) {
    EXPECT_TRUE(top.contains(command)) << command;
  }
  EXPECT_THAT(manual, Not(HasSubstr("\n.SS \"\\fBtovra manual"))) << "the build's own command stays hidden";
  EXPECT_THAT(h.ok({"search", "--help"}).out, HasSubstr("10"));
}

TEST_F(EverydayCliTest, TrackedAppsForCompletionWithoutCreatingAStore) {
  auto r = h.ok({"completion", "--tracked-apps"});
  EXPECT_EQ(r.out, "");
  EXPECT_FALSE(std::filesystem::exists(h.dataDir() / "default.store"));
  h.ok({"app", "add", kLab, "--country", "us"});
  r = h.ok({"completion", "--tracked-apps"});
  EXPECT_EQ(r.out, std::string(kLab) + "\tPhoto Lab\n");
}

TEST_F(EverydayCliTest, CompletionNamesAShell) {
  const auto r = h.run({"completion", "tcsh"});
  EXPECT_EQ(r.exitCode, 2) << describe(r);
}

// The bash script, sourced in a real bash, answers a tab press at several places of a command line.
struct BashCase {
  const char* name;
  std::string line;  // words before the cursor, then the word being completed
  std::vector<std::string> offered;
  std::vector<std::string> notOffered;
};

class BashCompletionTest : public EverydayCliTest, public ::testing::WithParamInterface<BashCase> {};

TEST_P(BashCompletionTest, OffersWhatFitsWhereTheCursorIs) {
  h.ok({"app", "add", kLab, "--country", "us"});
  const auto script = h.directory() / "tovra.bash";
  { std::ofstream(script) << h.ok({"completion", "bash"}).out; }
  const auto binDir = std::filesystem::path(Harness::tovraPath()).parent_path().string();
  const std::string program =
      "source '" + script.string() +
      "' && read -ra COMP_WORDS <<< \"$LINE\" && "
      "if [[ \"$LINE\" == *' ' ]]; then COMP_WORDS+=(''); fi && "
      "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && { _tovra; printf '%s\\n' \"${COMPREPLY[@]}\"; }";
  auto env = h.environment();
  env["PATH"] = binDir + ":" + env["PATH"].value_or("/usr/bin:/bin");
  env["LINE"] = GetParam().line;
  const auto r = h.runProgram("/bin/bash", {"--norc", "-c", program}, {.env = env});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  const auto words = lines(r.out);
  for (const auto& word : GetParam().offered) {
    EXPECT_THAT(words, ::testing::Contains(word)) << r.out;
  }
  for (const auto& word : GetParam().notOffered) {
    EXPECT_THAT(words, Not(::testing::Contains(word))) << r.out;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BashCompletionTest,
    ::testing::Values(BashCase{"Subcommands", "tovra ", {"search", "keywords", "measure", "completion"}, {"manual"}},
                      BashCase{"NestedSubcommands", "tovra keywords ", {"add", "list", "pause"}, {"search"}},
                      BashCase{"PrefixOfASubcommand", "tovra sea", {"search"}, {"measure"}},
                      BashCase{"Options", "tovra search --", {"--country", "--limit", "--json"}, {"--yes"}},
                      BashCase{"Countries", "tovra search maps --country ", {"us", "gb", "de", "jp"}, {"uk", "search"}},
                      BashCase{"CountriesByPrefix", "tovra keywords add 1000000001 --country g", {"gb"}, {"us"}},
                      BashCase{"TrackedApps", "tovra keywords add ", {kLab}, {"add"}},
                      BashCase{"TrackedAppsAfterOptions", "tovra --json history ", {kLab}, {}},
                      BashCase{"Shells", "tovra completion ", {"bash", "zsh", "fish"}, {}}),
    [](const auto& info) { return std::string(info.param.name); });

// zsh and fish check their script's syntax themselves, where they are installed.
TEST_F(EverydayCliTest, EveryShellsScriptParses) {
  struct Shell {
    const char* name;
    std::string program;
    std::vector<std::string> check;
  };
  for (const auto& shell : std::vector<Shell>{{"bash", "/bin/bash", {"-n"}},
                                              {"zsh", "/usr/bin/zsh", {"-n"}},
                                              {"fish", "/usr/bin/fish", {"--no-execute"}}}) {
    const auto script = h.ok({"completion", shell.name}).out;
    EXPECT_THAT(script, HasSubstr("keywords"));
    for (const auto* country : {"us", "gb", "de", "jp", "br"}) {
      EXPECT_THAT(script, HasSubstr(country)) << shell.name;
    }
    if (!std::filesystem::exists(shell.program)) {
      continue;
    }
    const auto file = h.directory() / (std::string("tovra.") + shell.name);
    std::ofstream(file) << script;
    auto args = shell.check;
    args.push_back(file.string());
    const auto r = h.runProgram(shell.program, args);
    EXPECT_EQ(r.exitCode, 0) << shell.name << "\n" << describe(r);
  }
}

}  // namespace
