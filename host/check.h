#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Looks at a request before anything is driven: what the library refuses, what no instrument can
/// drive, and what the library reads without a word although it can hardly be meant.

namespace libmfx::host {

enum class Severity {
  kWarning,  ///< read, and perhaps not meant
  kError     ///< refused, or read as something else, or bound to fail
};

std::string SeverityName(Severity severity);

/// One thing about a request.
struct Finding {
  Severity severity = Severity::kWarning;
  int line = 1;  ///< from 1, as the column, which counts characters
  int column = 1;
  std::string path;  ///< of the value within the request, a JSON pointer: "/Feature/Radius"
  std::string text;  ///< one line, for people
};

/// How the request is going to be measured.
struct CheckOptions {
  std::optional<bool> search;  ///< whether a search may be made; nothing: not known
};

/// What there is to say about a request, in the order of the text. Nothing about the request
/// throws. Makes a feature of it, as a measurement does, whose log lines go where all go.
std::vector<Finding> CheckRequest(const std::string& text, const CheckOptions& options);

bool HasErrors(const std::vector<Finding>& findings);

/// "file:line:column: severity: text"
std::string FindingLine(const std::string& file, const Finding& finding);

/// A finding in a request of a file.
struct FileFinding {
  std::string file;
  Finding finding;
};

/// {"findings":[{"file","severity","line","column","path","text"},...]}
std::string FindingsJson(const std::vector<FileFinding>& findings);

}  // namespace libmfx::host
