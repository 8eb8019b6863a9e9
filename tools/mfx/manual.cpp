// Pages for man, in the macros of man(7).

#include "call.h"
#include "help.h"

namespace libmfx::host {
namespace {

/// Text on lines as troff takes them: a backslash, a hyphen that is a minus, and a line that would
/// begin a macro are told as what they are.
std::string Plain(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    const bool begins = plain.empty() || plain.back() == '\n';
    if (begins && (c == '.' || c == '\'')) plain += "\\&";
    if (c == '\\') {
      plain += "\\e";
    } else if (c == '-') {
      plain += "\\-";
    } else {
      plain += c;
    }
  }
  return plain;
}

/// Sentences, the line ended.
std::string Filled(const std::string& text) { return Plain(Wrapped(text, 0)); }

std::string Bold(const std::string& text) { return "\\fB" + Plain(text) + "\\fR"; }
std::string Slanted(const std::string& text) { return "\\fI" + Plain(text) + "\\fR"; }

/// A paragraph with a tag that hangs out of it.
std::string Tagged(const std::string& tag, const std::string& text) {
  return ".TP\n" + tag + "\n" + Filled(text + ".");
}

std::string Tagged(const OptionRow& row) {
  std::string tag;
  for (const std::string& name : row.names) {
    tag += (tag.empty() ? "" : ", ") + (row.is_argument ? Slanted(name) : Bold(name));
  }
  if (!row.is_argument && !row.value.empty()) tag += " " + Slanted(row.value);
  return Tagged(tag, row.description);
}

std::string Rows(const std::string& title, const std::vector<OptionRow>& rows) {
  std::string text;
  for (const OptionRow& row : rows) text += Tagged(row);
  return text.empty() ? text : ".SH " + title + "\n" + text;
}

/// The name under which man finds the page: "mfx", "mfx-plan".
std::string PageOf(const CLI::App& call) {
  return call.get_parent() == nullptr ? call.get_name()
                                      : call.get_parent()->get_name() + "-" + call.get_name();
}

std::string UpperCase(std::string name) {
  for (char& c : name) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return Plain(name);
}

std::string SeeAlso(const CLI::App& call) {
  std::string text = ".SH SEE ALSO\n";
  if (call.get_parent() != nullptr) return text + ".BR " + PageOf(*call.get_parent()) + " (1)\n";
  std::string line;
  for (const CLI::App* one : CallsOf(call)) {
    if (!line.empty()) text += line + ",\n";
    line = ".BR " + Plain(PageOf(*one)) + " (1)";
  }
  return text + line + "\n";
}

}  // namespace

std::string ManualOf(const CLI::App& call) {
  const CallTexts texts = TextsOf(call);
  const CLI::App* program = call.get_parent();
  std::string text = ".\\\" Made from the texts of mfx " LIBMFX_VERSION ".\n";
  text +=
      ".TH " + UpperCase(PageOf(call)) + " 1 \"" LIBMFX_BUILT_ON "\" \"mfx " LIBMFX_VERSION "\"\n";
  text += ".SH NAME\n" + Plain(PageOf(call)) + " \\- " + Plain(texts.summary) + "\n";
  text += ".SH SYNOPSIS\n" + Bold(UsageOf(call)) + "\n";
  text += ".SH DESCRIPTION\n" + Filled(texts.about.empty() ? texts.summary + "." : texts.about);
  if (program == nullptr) {
    text += ".SH CALLS\n";
    for (const CLI::App* one : CallsOf(call))
      text += Tagged(Bold(one->get_name()), TextsOf(*one).summary);
  }
  text += Rows("OPTIONS", RowsOf(call));
  if (program != nullptr) text += Rows("OPTIONS OF EVERY CALL", SharedRowsOf(*program));
  if (!texts.statuses.empty()) text += ".SH EXIT STATUS\n";
  for (const CallStatus& status : texts.statuses) {
    text += Tagged(Bold(std::to_string(status.status)), status.means);
  }
  if (!texts.examples.empty()) text += ".SH EXAMPLES\n";
  for (const CallExample& example : texts.examples) {
    text += ".TP\n" + Bold(example.line) + "\n" + Filled(example.what);
  }
  text += SeeAlso(call);
  text.pop_back();
  return text;
}

}  // namespace libmfx::host
