#include "help.h"

#include <memory>
#include <string>

#include "options.h"

namespace libmfx::host {
namespace {

struct HelpCall {
  std::string call;  ///< empty: the program itself
  bool manual = false;
};

int RunHelp(const HelpCall& call, const CLI::App& program, Console& console) {
  const CLI::App& told = call.call.empty() ? program : CallNamed(program, call.call);
  console.Result(call.manual ? ManualOf(told) : HelpOf(told));
  return kMeasured;
}

}  // namespace

void AddHelp(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<HelpCall>();
  CLI::App& command = Call::Add(
      program, "help",
      {.summary = "Tell of the program or of a call",
       .about = {},
       .examples = {{"mfx help measure", "Tells of the call measure, as mfx measure --help does."}},
       .statuses = {{kMeasured, "it was told"}, FailedStatus()}});
  command.add_option("CALL", call->call, "Name of a call")->type_name("CALL");
  // For the build: the manual pages that are installed.
  command.add_flag("--man", call->manual, "As a page for man")->group("");
  command.callback([&execute, &program, call] {
    execute = [&program, call](Console& console) { return RunHelp(*call, program, console); };
  });
}

void AddCompletion(CLI::App& program, Execute& execute) {
  const auto shell = std::make_shared<std::string>();
  CLI::App& command = Call::Add(
      program, "completion",
      {.summary = "Print what makes a shell complete the command line",
       .about =
           "An installed mfx is completed by itself where the shell looks into the folders that "
           "packages install to. For any other the shell reads what this call prints.",
       .examples = {{"mfx completion bash > ~/.local/share/bash-completion/completions/mfx",
                     "For every bash to come."},
                    {"mfx completion fish > ~/.config/fish/completions/mfx.fish",
                     "For every fish to come."}},
       .statuses = {{kMeasured, "it was printed"}, FailedStatus()}});
  AddChoice(
      command, "SHELL", CompletedShells(), [shell](const std::string& name) { *shell = name; },
      "bash, zsh or fish")
      ->required();
  command.callback([&execute, &program, shell] {
    execute = [&program, shell](Console& console) {
      console.Result(CompletionOf(program, *shell));
      return kMeasured;
    };
  });
}

}  // namespace libmfx::host
