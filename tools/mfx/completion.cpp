// What makes a shell complete the command line, made from the same rows as the help.

#include <algorithm>

#include "call.h"
#include "help.h"

namespace libmfx::host {
namespace {

std::string Joined(const std::vector<std::string>& words, const std::string& between = " ") {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

/// A text in single quotes, as every one of the shells reads it.
/// \param quote what a single quote becomes inside them
std::string Quoted(const std::string& text, const std::string& quote = "'\\''") {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? quote : std::string(1, c);
  return quoted + "'";
}

std::vector<std::string> NamesOf(const std::vector<const CLI::App*>& calls) {
  std::vector<std::string> names;
  names.reserve(calls.size());
  for (const CLI::App* call : calls) names.push_back(call->get_name());
  return names;
}

/// What may stand as the value of a row. An argument that names a call has the calls as its words.
std::vector<std::string> WordsOf(const OptionRow& row, const CLI::App& program) {
  return row.value == "CALL" ? NamesOf(CallsOf(program)) : row.choices;
}

/// All rows of a call: its own and those that every call has.
std::vector<OptionRow> AllRowsOf(const CLI::App& call, const CLI::App& program) {
  std::vector<OptionRow> rows = RowsOf(call);
  const std::vector<OptionRow> shared = SharedRowsOf(program);
  rows.insert(rows.end(), shared.begin(), shared.end());
  return rows;
}

/// The option names of some rows.
std::vector<std::string> OptionsOf(const std::vector<OptionRow>& rows) {
  std::vector<std::string> names;
  for (const OptionRow& row : rows) {
    if (!row.is_argument) names.insert(names.end(), row.names.begin(), row.names.end());
  }
  return names;
}

/// The commands of bash that complete the value of a row.
std::string BashValue(const OptionRow& row, const CLI::App& program) {
  const std::vector<std::string> words = WordsOf(row, program);
  if (!words.empty()) return "_mfx_take -W " + Quoted(Joined(words));
  if (row.TakesFile()) return "_mfx_take -f";
  return row.TakesCommand() ? "_mfx_take -c" : ":";
}

std::string BashCompletion(const CLI::App& program) {
  const std::vector<const CLI::App*> calls = CallsOf(program);
  std::string values;
  std::string options =
      "    '') _mfx_take -W " + Quoted(Joined(OptionsOf(RowsOf(program)))) + " ;;\n";
  std::string arguments = "    '') _mfx_take -W " + Quoted(Joined(NamesOf(calls))) + " ;;\n";
  for (const CLI::App* call : calls) {
    const std::vector<OptionRow> rows = AllRowsOf(*call, program);
    options +=
        "    " + call->get_name() + ") _mfx_take -W " + Quoted(Joined(OptionsOf(rows))) + " ;;\n";
    for (const OptionRow& row : rows) {
      if (row.is_argument) {
        arguments += "    " + call->get_name() + ") " + BashValue(row, program) + " ;;\n";
      } else if (!row.value.empty()) {
        for (const std::string& name : row.names) {
          values += "    " + call->get_name() + ":" + name + ") " + BashValue(row, program) +
                    "; return ;;\n";
        }
      }
    }
  }
  return R"(# bash completion for mfx, printed by mfx completion bash

_mfx_take() {
  [[ $1 == -f ]] && compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$@" -- "$cur")
}

_mfx() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} call= i
  COMPREPLY=()
  # bash cuts --option=value into three words.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; i++)); do
    [[ ${COMP_WORDS[i]} == -* ]] || { call=${COMP_WORDS[i]}; break; }
  done
  case $call:$prev in
)" + values +
         R"(  esac
  if [[ $cur == -* ]]; then
    case $call in
)" + options +
         R"(    esac
  else
    case $call in
)" + arguments +
         R"(    esac
  fi
}

complete -F _mfx mfx)";
}

/// A text where a colon or a bracket would end it.
std::string ZshText(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    if (c == ':' || c == '[' || c == ']' || c == '\\') plain += '\\';
    plain += c;
  }
  return plain;
}

/// What _arguments is told of a value: its name and how it is completed.
std::string ZshValue(const OptionRow& row, const CLI::App& program) {
  const std::vector<std::string> words = WordsOf(row, program);
  std::string action = " ";
  if (!words.empty()) {
    action = "(" + Joined(words) + ")";
  } else if (row.TakesFile()) {
    action = "_files";
  } else if (row.TakesCommand()) {
    action = "_command_names -e";
  }
  return ":" + ZshText(row.is_argument ? row.names[0] : row.value) + ":" + action;
}

std::string ZshArguments(const std::vector<OptionRow>& rows, const CLI::App& program,
                         const std::string& indent) {
  std::string text;
  for (const OptionRow& row : rows) {
    if (row.is_argument) {
      text += " \\\n" + indent + Quoted((row.is_repeatable ? "*" : "1") + ZshValue(row, program));
      continue;
    }
    const std::string told =
        "[" + ZshText(row.description) + "]" + (row.value.empty() ? "" : ZshValue(row, program));
    for (const std::string& name : row.names) {
      text += " \\\n" + indent +
              Quoted((row.is_repeatable ? "*" : "(" + Joined(row.names) + ")") + name + told);
    }
  }
  return text;
}

std::string ZshCompletion(const CLI::App& program) {
  std::string calls;
  std::string cases;
  for (const CLI::App* call : CallsOf(program)) {
    calls += "    " + Quoted(call->get_name() + ":" + ZshText(TextsOf(*call).summary)) + "\n";
    cases += "        " + call->get_name() + ")\n          _arguments" +
             ZshArguments(AllRowsOf(*call, program), program, "            ") +
             " && ret=0\n          ;;\n";
  }
  return R"(#compdef mfx
# zsh completion for mfx, printed by mfx completion zsh

_mfx() {
  local context state state_descr line ret=1
  typeset -A opt_args
  local -a calls
  calls=(
)" + calls +
         R"(  )
  _arguments -C)" +
         ZshArguments(RowsOf(program), program, "    ") + R"( \
    '1: :->call' \
    '*:: :->rest' && ret=0
  case $state in
    call) _describe -t calls call calls && ret=0 ;;
    rest)
      case $words[1] in
)" + cases +
         R"(      esac
      ;;
  esac
  return ret
}

if [[ $funcstack[1] == _mfx ]]; then
  _mfx "$@"
else
  compdef _mfx mfx
fi)";
}

std::string FishOption(const OptionRow& row, const CLI::App& program,
                       const std::string& condition) {
  const std::vector<std::string> words = WordsOf(row, program);
  std::string text = "complete -c mfx" + condition;
  if (row.is_argument) {
    if (!words.empty()) return text + " -a " + Quoted(Joined(words)) + "\n";
    return row.TakesFile() ? text + " -F\n" : "";
  }
  for (const std::string& name : row.names) {
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!words.empty()) {
    text += " -x -a " + Quoted(Joined(words));
  } else if (row.TakesFile()) {
    text += " -r -F";
  } else if (row.TakesCommand()) {
    text += " -x -a '(__fish_complete_command)'";
  } else if (!row.value.empty()) {
    text += " -x";
  }
  return text + " -d " + Quoted(row.description, "\\'") + "\n";
}

std::string FishCompletion(const CLI::App& program) {
  std::string text =
      "# fish completion for mfx, printed by mfx completion fish\n\ncomplete -c mfx -f\n";
  for (const OptionRow& row : RowsOf(program)) {
    text += FishOption(row, program, " -n __fish_use_subcommand");
  }
  for (const CLI::App* call : CallsOf(program)) {
    text += "complete -c mfx -n __fish_use_subcommand -a " + call->get_name() + " -d " +
            Quoted(TextsOf(*call).summary, "\\'") + "\n";
  }
  for (const CLI::App* call : CallsOf(program)) {
    const std::string condition = " -n '__fish_seen_subcommand_from " + call->get_name() + "'";
    for (const OptionRow& row : AllRowsOf(*call, program))
      text += FishOption(row, program, condition);
  }
  text.pop_back();
  return text;
}

}  // namespace

const std::vector<std::string>& CompletedShells() {
  static const std::vector<std::string> shells = {"bash", "zsh", "fish"};
  return shells;
}

std::string CompletionOf(const CLI::App& program, const std::string& shell) {
  if (shell == "bash") return BashCompletion(program);
  return shell == "zsh" ? ZshCompletion(program) : FishCompletion(program);
}

}  // namespace libmfx::host
