#include "help.h"

#include <algorithm>
#include <sstream>

#include "call.h"

namespace libmfx::host {
namespace {

constexpr std::size_t kWidth = 76;
constexpr std::size_t kColumn = 24;  ///< where the descriptions of options begin

/// A name on the left, and what is said of it on the right, from its own line on where it fits.
std::string Row(const std::string& name, const std::string& description) {
  std::string text = "  " + name;
  std::string told = Wrapped(description, kColumn);
  if (text.size() + 2 <= kColumn) {
    told.erase(0, text.size());
  } else {
    text += '\n';
  }
  return text + told;
}

std::string NameOf(const OptionRow& row) {
  std::string name;
  for (const std::string& one : row.names) name += (name.empty() ? "" : ", ") + one;
  return row.is_argument || row.value.empty() ? name : name + " " + row.value;
}

std::string Rows(const std::string& title, const std::vector<OptionRow>& rows, bool arguments) {
  std::string text;
  for (const OptionRow& row : rows) {
    if (row.is_argument == arguments) text += Row(NameOf(row), row.description);
  }
  return text.empty() ? text : "\n" + title + ":\n" + text;
}

}  // namespace

std::string Wrapped(const std::string& text, std::size_t indent) {
  std::string wrapped;
  std::string line;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (!line.empty() && indent + line.size() + 1 + word.size() > kWidth) {
      wrapped += std::string(indent, ' ') + line + '\n';
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  return wrapped + std::string(indent, ' ') + line + '\n';
}

std::string HelpOf(const CLI::App& call) {
  const CallTexts texts = TextsOf(call);
  const CLI::App* program = call.get_parent();
  std::string text = "Usage: " + UsageOf(call) + "\n\n" + texts.summary + ".\n";
  if (!texts.about.empty()) text += "\n" + Wrapped(texts.about, 0);
  const std::vector<OptionRow> rows = RowsOf(call);
  text += Rows("Arguments", rows, true);
  if (program == nullptr) {
    text += "\nCalls:\n";
    for (const CLI::App* one : CallsOf(call)) text += Row(one->get_name(), TextsOf(*one).summary);
  }
  text += Rows("Options", rows, false);
  if (program != nullptr) text += Rows("Options of every call", SharedRowsOf(*program), false);
  if (!texts.examples.empty()) text += "\nExamples:\n";
  for (const CallExample& example : texts.examples) {
    text += "  " + example.line + "\n" + Wrapped(example.what, 6);
  }
  if (!texts.statuses.empty()) text += "\nExit status:\n";
  for (const CallStatus& status : texts.statuses) {
    text += Row(std::to_string(status.status), status.means);
  }
  if (program == nullptr) text += "\nmfx help CALL tells of a call.\n";
  text.pop_back();
  return text;
}

std::string HelpFormatter::make_help(const CLI::App* call, std::string /*name*/,
                                     CLI::AppFormatMode /*mode*/) const {
  return HelpOf(*call);
}

}  // namespace libmfx::host
