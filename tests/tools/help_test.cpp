// What the program tells of itself: help, manual pages, the completion of shells, and what it says
// to a mistyped name.

#include <cstdlib>
#include <filesystem>
#include <regex>

#include "program_test.h"

namespace mfx_test {
namespace {

const std::vector<std::string>& Calls() {
  static const std::vector<std::string> calls = [] {
    std::vector<std::string> found;
    bool listed = false;
    for (const std::string& line : Lines(RunMfx({"--help"}).out)) {
      if (listed && line.empty()) break;
      // A summary may go on on the next line.
      if (listed && line[2] != ' ') found.push_back(line.substr(2, line.find(' ', 2) - 2));
      listed = listed || line == "Calls:";
    }
    return found;
  }();
  return calls;
}

/// A line of a shell, with mfx to be found and a folder of its own as home.
Ended Shell(const Folder& home, const std::string& line, const std::string& shell = "/bin/bash") {
  const std::string mfx = std::filesystem::path(LIBMFX_MFX_PROGRAM).parent_path();
  return RunMfx({"-c", "cd '" + home.Path("") + "'\n" + line},
                {.program = shell,
                 .environment = {"HOME=" + home.Path(""),
                                 "PATH=" + mfx + ":" + std::string(std::getenv("PATH"))}});
}

/// Where a program lies; empty if it is not installed.
std::string Installed(const std::string& program) {
  const std::string path = Shell(Folder(), "command -v " + program).out;
  return path.substr(0, path.find('\n'));
}

TEST(HelpTest, EveryCallIsListed) {
  EXPECT_THAT(Calls(), testing::IsSupersetOf({"features", "plan", "measure", "replay", "batch",
                                              "check-instrument", "help", "completion"}));
}

TEST(HelpTest, WithoutACallTheHelpIsPrinted) {
  const Ended bare = RunMfx({});
  EXPECT_EQ(bare.status, 0);
  EXPECT_THAT(bare.err, IsEmpty());
  EXPECT_THAT(bare.out, StartsWith("Usage: mfx [OPTIONS] CALL ...\n"));
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"--help"}, {"-h"}, {"help"}, {"-q"}}) {
    EXPECT_EQ(RunMfx(words).out, bare.out) << words[0];
  }
}

TEST(HelpTest, HelpOfACallIsThatOfItsOption) {
  for (const std::string& call : Calls()) {
    SCOPED_TRACE(call);
    const Ended help = RunMfx({"help", call});
    EXPECT_EQ(help.status, 0) << help.err;
    EXPECT_EQ(help.out, RunMfx({call, "--help"}).out);
    EXPECT_THAT(help.out, StartsWith("Usage: mfx " + call + " [OPTIONS]"));
    EXPECT_THAT(help.out, HasSubstr("\nExamples:\n  "));
    EXPECT_THAT(help.out, HasSubstr("\nExit status:\n  0  "));
    EXPECT_THAT(help.out, HasSubstr("\n  2  "));
    EXPECT_THAT(help.out, HasSubstr("\nOptions of every call:\n  -q, --quiet "));
  }
  EXPECT_EQ(RunMfx({"help", "melt"}).status, 2);
}

TEST(HelpTest, AValueIsNamedAfterWhatItIs) {
  for (const std::string& call : Calls()) {
    for (const char* kind : {"TEXT", "INT", "FLOAT", "REQUIRED", ":{"}) {
      EXPECT_THAT(RunMfx({"help", call}).out, Not(HasSubstr(kind))) << call;
    }
  }
  const std::string measure = RunMfx({"help", "measure"}).out;
  for (const char* option :
       {"--timeout SECONDS ", "--max-passes N ", "--instrument COMMAND ", "--scene SCENE ",
        "--record FILE ", "--report FILE ", "--scan-data json|binary|none\n"}) {
    EXPECT_THAT(measure, HasSubstr(option));
  }
}

TEST(HelpTest, EveryLineFitsOnATerminal) {
  for (const std::string& call : Calls()) {
    bool is_example = false;
    for (const std::string& line : Lines(RunMfx({"help", call}).out)) {
      if (!is_example) {
        EXPECT_LE(line.size(), 80u) << line;
      }
      is_example = line == "Examples:" || (is_example && !line.empty());
    }
  }
}

// In the order of the calls: what one of them writes another one reads.
TEST(HelpTest, EveryExampleRuns) {
  Folder home;
  std::filesystem::create_symlink(Source("examples"), home.Path("examples"));
  std::filesystem::create_directories(home.Path(".local/share/bash-completion/completions"));
  std::filesystem::create_directories(home.Path(".config/fish/completions"));
  const json job = {{"recording", "wall.rec"}};
  home.Write("jobs.jsonl", job.dump() + "\n" + job.dump() + "\n");
  std::vector<std::string> pages = {""};
  pages.insert(pages.end(), Calls().begin(), Calls().end());
  int examples = 0;
  for (const std::string& call : pages) {
    for (const std::string& line : Lines(RunMfx({call.empty() ? "--help" : call, "--help"}).out)) {
      if (!line.starts_with("  ") || line[2] == ' ' || line.find("mfx ") == std::string::npos)
        continue;
      const Ended ended = Shell(home, line);
      // The bracket of the examples does not conform.
      const bool inspects = line.find("mfx inspect ") != std::string::npos;
      EXPECT_EQ(ended.status, inspects ? 1 : 0) << line << "\n" << ended.err;
      ++examples;
    }
  }
  EXPECT_GE(examples, 13);
  EXPECT_THAT(Lines(home.Read("answers.jsonl")), SizeIs(2));
  EXPECT_THAT(home.Read("answers.jsonl"), Not(HasSubstr("\"error\"")));
  EXPECT_THAT(home.Read("wall.html"), Not(IsEmpty()));
}

void ExpectMeant(const std::vector<std::string>& words, const std::string& told) {
  const Ended ended = RunMfx(words);
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.out, IsEmpty());
  EXPECT_EQ(ended.err, "mfx: " + told + "\n");
}

TEST(HelpTest, AMistypedNameIsToldOf) {
  const std::string calls = " (mfx --help tells which there are)";
  ExpectMeant({"mesure"}, "there is no call 'mesure', did you mean 'measure'?" + calls);
  ExpectMeant({"melt"}, "there is no call 'melt'" + calls);
  ExpectMeant({"-q", "paln"}, "there is no call 'paln', did you mean 'plan'?" + calls);
  ExpectMeant({"help", "feature"}, "there is no call 'feature', did you mean 'features'?" + calls);
  const std::string usage = " (mfx --help tells the usage)";
  const std::string unexpected = "The following argument was not expected: ";
  ExpectMeant({"measure", "-", "--scnee=x"},
              unexpected + "--scnee=x, did you mean '--scene'?" + usage);
  ExpectMeant({"plan", "-", "--quite"}, unexpected + "--quite, did you mean '--quiet'?" + usage);
  ExpectMeant({"--versoin"}, unexpected + "--versoin, did you mean '--version'?" + usage);
  // An option of another call is none that could be meant here.
  ExpectMeant({"plan", "-", "--strict"}, unexpected + "--strict" + usage);
}

TEST(ManualTest, ThePagesAreSound) {
  const std::string lint = Installed("mandoc");
  ASSERT_THAT(lint, Not(IsEmpty())) << "mandoc is missing: scripts/setup.sh test installs it";
  std::vector<std::string> pages = Calls();
  pages.push_back("");
  for (const std::string& call : pages) {
    SCOPED_TRACE(call);
    const Ended page = RunMfx(call.empty() ? std::vector<std::string>{"help", "--man"}
                                           : std::vector<std::string>{"help", "--man", call});
    EXPECT_EQ(page.status, 0) << page.err;
    const Ended checked =
        RunMfx({"-T", "lint", "-W", "warning"}, {.input = page.out, .program = lint});
    EXPECT_EQ(checked.out + checked.err, "");
    const Ended shown =
        RunMfx({"-T", "ascii", "-O", "width=100"}, {.input = page.out, .program = lint});
    // Bold is a letter printed over itself.
    const std::string plain = std::regex_replace(shown.out, std::regex(".\b"), "");
    EXPECT_THAT(plain, HasSubstr("mfx" + (call.empty() ? "" : " " + call) + " [OPTIONS]"));
    for (const char* section : {"NAME", "SYNOPSIS", "EXIT STATUS"}) {
      EXPECT_THAT(plain, HasSubstr(section));
    }
  }
}

TEST(ManualTest, TheLintFindsWhatIsNotSound) {
  const Ended checked = RunMfx({"-T", "lint", "-W", "warning"},
                               {.input = ".TH X 1\n.XX\n", .program = Installed("mandoc")});
  EXPECT_NE(checked.status, 0);
}

/// What bash offers for the last of some words.
std::vector<std::string> Offered(const std::string& words, const Folder& folder = Folder()) {
  const Ended ended =
      Shell(folder, "eval \"$(mfx completion bash)\"\ncomplete -p mfx >&2\nCOMP_WORDS=(" + words +
                        ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_mfx\n"
                        "for word in \"${COMPREPLY[@]}\"; do echo \"$word\"; done");
  EXPECT_EQ(ended.err, "complete -F _mfx mfx\n");
  return Lines(ended.out);
}

TEST(CompletionTest, BashCompletesCallsOptionsAndValues) {
  using testing::Contains;
  using testing::ElementsAre;
  EXPECT_EQ(Offered("mfx ''"), Calls());
  EXPECT_THAT(Offered("mfx pl"), ElementsAre("plan"));
  EXPECT_THAT(Offered("mfx -q me"), ElementsAre("measure"));
  EXPECT_THAT(Offered("mfx --ver"), ElementsAre("--version", "--verbose"));
  EXPECT_THAT(Offered("mfx measure --sc"), ElementsAre("--scene", "--scan-data"));
  EXPECT_THAT(Offered("mfx measure x --qu"), ElementsAre("--quiet"));
  EXPECT_THAT(Offered("mfx plan --format ''"), ElementsAre("json", "csv"));
  EXPECT_THAT(Offered("mfx measure --scan-data = b"), ElementsAre("binary"));
  EXPECT_THAT(Offered("mfx measure --scan-data ="), ElementsAre("json", "binary", "none"));
  EXPECT_THAT(Offered("mfx measure --timeout ''"), IsEmpty());
  EXPECT_THAT(Offered("mfx measure --instrument bas"), Contains("bash"));
  EXPECT_THAT(Offered("mfx help pl"), ElementsAre("plan"));
  EXPECT_THAT(Offered("mfx completion ''"), ElementsAre("bash", "zsh", "fish"));
  EXPECT_THAT(Offered("mfx features ''"), IsEmpty());
}

TEST(CompletionTest, BashCompletesFiles) {
  Folder folder;
  folder.Write("part one.json", "");
  folder.Write("other.json", "");
  for (const char* words :
       {"mfx plan pa", "mfx replay pa", "mfx batch pa", "mfx measure x --scene pa",
        "mfx measure x --record pa", "mfx replay x --report pa"}) {
    EXPECT_THAT(Offered(words, folder), testing::ElementsAre("part one.json")) << words;
  }
}

/// Runs a script of a shell, which has to read what mfx prints for it.
Ended InShell(const std::string& shell, const std::string& line) {
  Folder folder;
  folder.Write("completion", RunMfx({"completion", shell}).out);
  return Shell(folder, line, Installed(shell));
}

TEST(CompletionTest, ZshReadsIt) {
  if (Installed("zsh").empty()) GTEST_SKIP() << "zsh is not installed";
  const Ended checked = InShell("zsh", "zsh -n completion");
  EXPECT_EQ(checked.status, 0) << checked.err;
  // On a terminal of its own, since zsh completes nowhere else.
  Folder folder;
  folder.Write("completion", RunMfx({"completion", "zsh"}).out);
  folder.Write("type", R"(
    zmodload zsh/zpty
    zpty z zsh -f -i
    zpty -w z 'PS1=; autoload -U compinit; compinit -u -D; source ./completion; echo rea""dy'
    zpty -r -m z seen '*ready*'
    zpty -w -n z $'mfx measure x --scan-da\t'
    zpty -r -m z seen '*scan-data*'
    print -r -- "$seen"
    zpty -d z)");
  EXPECT_THAT(Shell(folder, "timeout 60 " + Installed("zsh") + " -f type").out,
              HasSubstr("mfx measure x --scan-data"));
}

TEST(CompletionTest, FishReadsIt) {
  if (Installed("fish").empty()) GTEST_SKIP() << "fish is not installed";
  const Ended checked = InShell("fish", "fish -n completion");
  EXPECT_EQ(checked.status, 0) << checked.err;
  const auto offered = [](const std::string& line) {
    return Lines(InShell("fish", "source completion; complete -C '" + line + "'").out);
  };
  EXPECT_THAT(offered("mfx pl"),
              testing::ElementsAre("plan\tPrint the drive points, drive nothing"));
  EXPECT_THAT(offered("mfx plan --format c"), testing::ElementsAre("csv\tjson (default) or csv"));
  EXPECT_THAT(offered("mfx measure --sce"), SizeIs(1));
  EXPECT_THAT(offered("mfx help fe"), testing::ElementsAre("features"));
}

TEST(CompletionTest, AnotherShellIsRefused) {
  const Ended ended = RunMfx({"completion", "tcsh"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("tcsh not in {bash,zsh,fish}"));
}

}  // namespace
}  // namespace mfx_test
