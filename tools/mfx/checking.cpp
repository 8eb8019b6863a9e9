#include "checking.h"

#include "host/errors.h"

namespace libmfx::host {
namespace {

/// \throws CallError if findings end what was asked for
void End(const std::vector<Finding>& findings, Checking checking, const std::string& what,
         const std::string& first) {
  if (findings.empty() || checking != Checking::kStrict) return;
  const std::string more =
      findings.size() > 1 ? " (and " + std::to_string(findings.size() - 1) + " more)" : "";
  throw CallError("the check of " + what + " found: " + first + more);
}

}  // namespace

std::optional<Checking> CheckingOf(std::string_view name) {
  if (name == "notes") return Checking::kNotes;
  if (name == "strict") return Checking::kStrict;
  if (name == "off") return Checking::kOff;
  return std::nullopt;
}

std::string FileName(const std::string& file) { return file == "-" ? "standard input" : file; }

std::vector<Finding> FindingsOf(const std::string& request, const CheckOptions& options,
                                Console& console) {
  const bool shown = console.DropLibraryLines();
  std::vector<Finding> findings = CheckRequest(request, options);
  console.ShowLibraryLines(shown);
  return findings;
}

void CheckBefore(const std::string& file, const std::string& request, const CheckOptions& options,
                 Checking checking, Console& console) {
  if (checking == Checking::kOff) return;
  const std::vector<Finding> findings = FindingsOf(request, options, console);
  const std::string name = FileName(file);
  for (const Finding& finding : findings) console.Note("note: " + FindingLine(name, finding));
  End(findings, checking, "the request",
      findings.empty() ? "" : FindingLine(name, findings.front()));
}

void CheckJob(const std::string& id, const std::string& request, const CheckOptions& options,
              Checking checking, bool notes, Console& console) {
  const std::vector<Finding> findings = FindingsOf(request, options, console);
  const auto line = [](const Finding& finding) {
    const std::string path = finding.path.empty() ? "the request" : finding.path;
    return path + ": " + SeverityName(finding.severity) + ": " + finding.text;
  };
  for (const Finding& finding : findings) {
    if (notes) console.Note("note: job " + id + ": " + line(finding));
  }
  End(findings, checking, "the request", findings.empty() ? "" : line(findings.front()));
}

}  // namespace libmfx::host
