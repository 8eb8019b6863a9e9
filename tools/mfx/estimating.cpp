#include "estimating.h"

#include <array>
#include <cmath>
#include <numbers>
#include <utility>

#include <Eigen/Eigenvalues>

#include "host/batch_run.h"
#include "host/batch_workers.h"
#include "host/interrupts.h"
#include "host/numbers.h"
#include "progress.h"

namespace libmfx::host {
namespace {

using uncertainty::Kind;
using uncertainty::QuantityUncertainty;
using uncertainty::Uncertainty;

constexpr double kMillimetres = 1000.0;
constexpr double kDegrees = 180.0 / std::numbers::pi;

/// A line of the table: name, best estimate, bias, standard uncertainty, interval, unit.
using Cells = std::array<std::string, 6>;

std::string Signed(double value, int digits) {
  return (value < 0.0 ? "-" : "+") + Rounded(std::abs(value), digits);
}

Cells PlaceOrSize(const QuantityUncertainty& q, Eigen::Index i) {
  const std::string axis = q.kind == Kind::kPlace ? std::string(" ") + "xyz"[i] : "";
  const auto [low, high] = q.interval95[static_cast<std::size_t>(i)];
  return {q.key + axis,
          TableText(q.mean[i] * kMillimetres, "mm"),
          Signed(q.bias[i] * kMillimetres, 2),
          Rounded(q.Standard(i) * kMillimetres, 2),
          TableText(low * kMillimetres, "mm") + " to " + TableText(high * kMillimetres, "mm"),
          "mm"};
}

/// A direction by angles: that of its bias, the larger of its two standard uncertainties, and the
/// angle within which the true one lies with 95 %, if its errors are normal.
Cells Direction(const QuantityUncertainty& q) {
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> spread(Eigen::Matrix3d(q.covariance));
  const double largest = std::sqrt(std::max(0.0, spread.eigenvalues()[2])) * kDegrees;
  return {q.key,
          "",
          Rounded(q.bias.norm() * kDegrees, 2),
          Rounded(largest, 2),
          "within " + Rounded(std::sqrt(report::kSquared95) * largest, 2),
          "\xC2\xB0"};
}

std::size_t WidthOf(const std::string& text) {
  std::size_t width = 0;
  for (const char c : text) width += (c & 0xC0) != 0x80 ? 1 : 0;
  return width;
}

std::string Table(const Uncertainty& answer, const std::string& best) {
  std::vector<Cells> lines = {{"", best, "bias", "standard", "95 %", ""}};
  for (const QuantityUncertainty& q : answer.quantities) {
    if (q.kind == Kind::kDirection) {
      lines.push_back(Direction(q));
      continue;
    }
    for (Eigen::Index i = 0; i < q.mean.size(); ++i) lines.push_back(PlaceOrSize(q, i));
  }
  std::array<std::size_t, 6> widths = {};
  for (const Cells& cells : lines) {
    for (std::size_t c = 0; c < cells.size(); ++c) {
      widths[c] = std::max(widths[c], WidthOf(cells[c]));
    }
  }
  std::string table;
  for (const Cells& cells : lines) {
    std::string line;
    for (std::size_t c = 0; c < cells.size(); ++c) {
      const std::string blanks(widths[c] - WidthOf(cells[c]), ' ');
      line += "  " + (c >= 1 && c <= 4 ? blanks + cells[c] : cells[c] + blanks);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    table += "\n" + line;
  }
  return table;
}

std::string Percent(long long part, long long of) {
  return Rounded(of > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(of) : 0.0, 3) +
         " %";
}

/// Standard uncertainties of the place along the feature's own directions.
std::string OwnFrame(const Uncertainty& answer) {
  const QuantityUncertainty* place = answer.Find("Location");
  if (place == nullptr) return {};
  const Eigen::Matrix3d own = answer.own.transpose() * place->covariance * answer.own;
  std::string line = "\n  Location, standard: ";
  const char* const names[] = {" mm along its tangent, ", " mm across it, ",
                               " mm along its normal or axis"};
  for (Eigen::Index i = 0; i < 3; ++i) {
    line += Rounded(std::sqrt(std::max(0.0, own(i, i))) * kMillimetres, 2) + names[i];
  }
  return line;
}

}  // namespace

uncertainty::InstrumentModel Estimating::Model() const {
  uncertainty::InstrumentModel known;
  if (!model.empty()) known = uncertainty::ReadInstrumentModel(model);
  if (!surface.empty()) known.surface = uncertainty::ReadSurface(surface);
  return known;
}

void AddEstimating(CLI::App& call, Estimating& estimating) {
  call.add_option("--instrument-model", estimating.model,
                  "File with what is known of the instrument; else the virtual one's noise")
      ->type_name("FILE");
  AddNumber<long long>(
      call, "--trials", 2, uncertainty::kMostTrials,
      [&estimating](long long trials) { estimating.run.most = trials; },
      "Most trials of an estimate (10000)");
  AddNumber<int>(
      call, "--digits", 1, 3, [&estimating](int digits) { estimating.run.digits = digits; },
      "Trials end when so many significant digits stand (2)");
  AddNumber<int>(
      call, "-j", 0, kMostWorkers, [&estimating](int count) { estimating.run.processes = count; },
      "Processes that share the trials; 0, the default: as many as there are processors");
}

std::vector<Uncertainty> Estimate(const std::vector<uncertainty::Question>& questions,
                                  const Estimating& estimating) {
  uncertainty::RunOptions run = estimating.run;
  if (run.processes == 0) run.processes = ProcessorsToUse();
  Progress bar("trials");
  return AnswersOf(questions, run, [&bar](long long done, long long most) {
    bar.Show(static_cast<std::size_t>(done), static_cast<std::size_t>(most),
             static_cast<std::size_t>(done), 0);
  });
}

std::string UncertaintyText(const std::string& name, const Uncertainty& answer,
                            const std::optional<Uncertainty>& first) {
  std::string text = name + ": " + std::to_string(answer.trials) + " trials, " +
                     Percent(answer.successes, answer.trials) + " measured, " +
                     Percent(answer.warned, answer.successes) + " of them with a warning";
  if (answer.quantities.empty()) return text + "\n  nothing can be told without two successes";
  const bool is_after = answer.quantities.front().measured.has_value();
  text += Table(answer, is_after ? "best" : "mean") + OwnFrame(answer);
  text += answer.digits == 0
              ? "\n  not all of them stand to one significant digit"
              : "\n  " + std::to_string(answer.digits) + " significant digits of them stand";
  if (answer.broken_off) text += ", as far as the trials went";
  for (const std::string& key : answer.repeated) {
    text += "\n  " + key + " is the request's, and not measured";
  }
  if (!first) return text;
  text += "\n  by the fit's own scatter alone, standard:";
  for (const QuantityUncertainty& q : first->quantities) {
    const double scale = q.kind == Kind::kDirection ? kDegrees : kMillimetres;
    const double trace = std::max(0.0, q.covariance.trace());
    text += " " + q.key + " " + Rounded(std::sqrt(trace) * scale, 2) +
            (q.kind == Kind::kDirection ? "\xC2\xB0" : " mm");
  }
  return text;
}

report::Spread SpreadOf(const Uncertainty& answer) {
  report::Spread spread;
  spread.trials = answer.trials;
  spread.successes = answer.successes;
  spread.origin =
      "The measurement was carried out again and again by the virtual instrument, in front of a "
      "part as it was measured and with the noise that the samples show.";
  for (const QuantityUncertainty& q : answer.quantities) {
    report::Spread::Quantity& row = spread.quantities.emplace_back();
    row.key = q.key;
    row.is_direction = q.kind == Kind::kDirection;
    row.best.assign(q.mean.begin(), q.mean.end());
    row.bias.assign(q.bias.begin(), q.bias.end());
    for (Eigen::Index i = 0; i < q.mean.size(); ++i) row.standard.push_back(q.Standard(i));
    if (q.covariance.rows() == 3) row.covariance = q.covariance;
    row.interval95 = q.interval95;
  }
  return spread;
}

}  // namespace libmfx::host
