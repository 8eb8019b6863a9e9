#include "call.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include "exit_status.h"
#include "host/errors.h"
#include "host/nearest.h"

namespace libmfx::host {
namespace {

OptionRow RowOf(const CLI::Option& option) {
  OptionRow row;
  row.is_argument = option.get_positional();
  row.is_required = option.get_required();
  row.is_repeatable = option.get_expected_max() > 1;
  row.description = option.get_description();
  if (row.is_argument) {
    row.names.push_back(option.get_name(true, false));
  } else {
    for (const std::string& name : option.get_snames()) row.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) row.names.push_back("--" + name);
  }
  if (option.get_type_size() != 0) row.value = option.get_type_name();
  if (row.value.find('|') == std::string::npos) return row;
  std::istringstream words(row.value);
  for (std::string word; std::getline(words, word, '|');) row.choices.push_back(word);
  return row;
}

}  // namespace

Call::Call(const std::string& name, CallTexts texts)
    : CLI::App(texts.summary, name), _texts(std::move(texts)) {}

Call::Call(const std::string& name, CallTexts texts, CLI::App* program)
    : CLI::App(texts.summary, name, program), _texts(std::move(texts)) {}

Call& Call::Add(CLI::App& program, const std::string& name, CallTexts texts) {
  const std::shared_ptr<Call> call(new Call(name, std::move(texts), &program));
  program.add_subcommand(call);
  return *call;
}

std::vector<CallStatus> MeasuringStatuses() {
  return {{kMeasured, "the measurement succeeded"},
          {kNotMeasured,
           "it ran, and the result says that it failed; with --strict, also a success with "
           "warnings"},
          FailedStatus(),
          BrokenOffStatus()};
}

CallStatus FailedStatus() {
  return {kCallFailed, "the call could not be carried out; one line on standard error says why"};
}

CallStatus BrokenOffStatus() {
  return {130, "Ctrl-C ended it (128 plus the number of the signal)"};
}

std::vector<OptionRow> RowsOf(const CLI::App& call) {
  std::vector<OptionRow> rows;
  for (const CLI::Option* option : call.get_options()) {
    if (!option->get_group().empty()) rows.push_back(RowOf(*option));
  }
  std::stable_partition(rows.begin(), rows.end(),
                        [](const OptionRow& row) { return row.is_argument; });
  return rows;
}

std::vector<OptionRow> SharedRowsOf(const CLI::App& program) {
  std::vector<OptionRow> rows = RowsOf(program);
  std::erase_if(rows, [](const OptionRow& row) {
    return row.is_argument || row.names.back() == "--help" || row.names.back() == "--version";
  });
  return rows;
}

CallTexts TextsOf(const CLI::App& call) {
  const auto* told = dynamic_cast<const Call*>(&call);
  return told != nullptr ? told->_texts : CallTexts{call.get_description(), {}, {}, {}};
}

std::vector<const CLI::App*> CallsOf(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App* call) { return !call->get_group().empty(); });
}

const CLI::App& CallNamed(const CLI::App& program, const std::string& name) {
  std::vector<std::string> names;
  for (const CLI::App* call : CallsOf(program)) {
    if (call->get_name() == name) return *call;
    names.push_back(call->get_name());
  }
  throw CallError("there is no call " + Excerpt(name) + DidYouMean(name, names) +
                  " (mfx --help tells which there are)");
}

std::string DidYouMean(const std::string& typed, const std::vector<std::string>& names) {
  const std::string nearest = Nearest(typed, names);
  return nearest.empty() ? "" : ", did you mean '" + nearest + "'?";
}

std::string UsageOf(const CLI::App& call) {
  const CLI::App* program = call.get_parent();
  if (program == nullptr) return call.get_name() + " [OPTIONS] CALL ...";
  std::string usage = program->get_name() + " " + call.get_name() + " [OPTIONS]";
  for (const OptionRow& row : RowsOf(call)) {
    if (!row.is_argument) break;
    const std::string name = row.names[0] + (row.is_repeatable ? "..." : "");
    usage += row.is_required ? " " + name : " [" + name + "]";
  }
  return usage;
}

}  // namespace libmfx::host
