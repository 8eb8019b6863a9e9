#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "call.h"
#include "checking.h"
#include "commands.h"
#include "host/conversation.h"
#include "host/errors.h"
#include "host/labels.h"
#include "host/numbers.h"

/// \file
/// Options that several calls have, and numbers.

namespace libmfx::host {

/// A number option, read the same under every locale.
/// \param take is given the number, which lies between `lowest` and `highest`
template <typename T, typename Take>
CLI::Option* AddNumber(CLI::App& call, const std::string& name, T lowest, T highest, Take take,
                       const std::string& description) {
  CLI::Option* const option = call.add_option_function<std::string>(
      name,
      [name, lowest, highest, take](const std::string& text) {
        const std::optional<T> value = NumberOf<T>(text);
        if (!value || !(*value >= lowest && *value <= highest)) {
          std::string range;
          AppendNumber(range, static_cast<double>(lowest));
          range += " to ";
          AppendNumber(range, static_cast<double>(highest));
          throw CLI::ValidationError(name,
                                     "wants a number from " + range + ", not " + Excerpt(text));
        }
        take(*value);
      },
      description);
  return option->type_name("N");
}

/// An option whose value is one of some words.
/// \param take is given the word
CLI::Option* AddChoice(CLI::App& call, const std::string& name,
                       const std::vector<std::string>& words,
                       std::function<void(const std::string&)> take,
                       const std::string& description);

/// How long an instrument may take for an answer.
void AddTimeout(CLI::App& call, std::chrono::milliseconds& timeout, const std::string& help);
void AddRequest(CLI::App& call, std::string& request);
void AddSearch(CLI::App& call, ConversationOptions& options);
void AddPasses(CLI::App& call, std::function<void(int)> take);
void AddScanData(CLI::App& call, std::function<void(ScanData)> take);
/// Each use of the option adds a label, in their order.
void AddLabels(CLI::App& call, Labels& labels);
void AddReport(CLI::App& call, std::string& report);
/// Whether the result is a text for people, if the command line says so.
void AddResultFormat(CLI::App& call, std::optional<bool>& as_text);
/// How a request is looked at before it is driven.
void AddCheck(CLI::App& call, Checking& checking);
/// A success with warnings ends the call with status 1.
void AddStrict(CLI::App& call, bool& strict);

}  // namespace libmfx::host
