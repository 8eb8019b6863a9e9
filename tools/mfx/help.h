#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <vector>

/// \file
/// What the program tells of itself, made from the texts and options of its calls.

namespace libmfx::host {

/// A text on lines of at most 76 columns, each begun by `indent` blanks; a word that is longer has
/// a line of its own. Each line is ended.
std::string Wrapped(const std::string& text, std::size_t indent);

/// The help of the program or of one of its calls. The last line of this and of the texts below is
/// not ended.
std::string HelpOf(const CLI::App& call);

/// Lets --help print HelpOf.
class HelpFormatter : public CLI::FormatterBase {
 public:
  std::string make_help(const CLI::App* call, std::string name,
                        CLI::AppFormatMode mode) const override;
};

/// The manual page of the program or of one of its calls, as troff with the macros of man(7).
std::string ManualOf(const CLI::App& call);

/// What makes a shell complete calls, options and their values.
/// \param shell one of CompletedShells()
std::string CompletionOf(const CLI::App& program, const std::string& shell);

/// "bash", "zsh" and "fish".
const std::vector<std::string>& CompletedShells();

}  // namespace libmfx::host
