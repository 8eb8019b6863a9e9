#include "report/spread.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "report/plot.h"

namespace libmfx::host::report {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

constexpr double kMillimetres = 1000.0;
constexpr double kDegrees = 180.0 / std::numbers::pi;

/// Three finite numbers, or nothing.
std::optional<Vector3d> TripleOf(const std::vector<double>& numbers) {
  if (numbers.size() != 3) return std::nullopt;
  const Vector3d triple(numbers[0], numbers[1], numbers[2]);
  return triple.allFinite() ? std::optional<Vector3d>(triple) : std::nullopt;
}

/// The margin of one length.
/// \param measured metres
std::optional<Margin> LengthMargin(const Spread::Quantity* quantity, std::size_t entry,
                                   std::size_t entries, double measured) {
  if (quantity == nullptr || quantity->is_direction || quantity->interval95.size() != entries) {
    return std::nullopt;
  }
  const auto [low, high] = quantity->interval95[entry];
  const Margin margin{kMillimetres * (low - measured), kMillimetres * (high - measured)};
  const bool sound = std::isfinite(margin.below) && std::isfinite(margin.above) && low <= high;
  return sound ? std::optional<Margin>(margin) : std::nullopt;
}

/// The margin of a direction that is `angle` degrees off the nominal. The true direction lies
/// across the best one by no more than the larger standard deviation there tells, and the best one
/// is off the measured one by the bias.
std::optional<Margin> DirectionMargin(const Spread::Quantity* quantity, double angle) {
  if (quantity == nullptr || !quantity->is_direction) return std::nullopt;
  const auto best = TripleOf(quantity->best);
  const auto bias = TripleOf(quantity->bias);
  if (!best || !bias || !quantity->covariance.allFinite()) return std::nullopt;
  if (!(best->norm() > 0.0) || !std::isfinite(best->norm())) return std::nullopt;
  const Vector3d along = best->normalized();
  const Matrix3d across = Matrix3d::Identity() - along * along.transpose();
  const Matrix3d scatter =
      0.5 * across * (quantity->covariance + quantity->covariance.transpose()) * across;
  const double largest = Eigen::SelfAdjointEigenSolver<Matrix3d>(scatter, Eigen::EigenvaluesOnly)
                             .eigenvalues()
                             .maxCoeff();
  const double within =
      kDegrees * ((across * *bias).norm() + std::sqrt(kSquared95 * std::max(largest, 0.0)));
  if (!std::isfinite(within)) return std::nullopt;
  const double cone = std::min(within, 180.0);
  return Margin{-std::min(angle, cone), cone, cone};
}

std::string LineSvg(double x1, double y1, double x2, double y2) {
  return "<line x1=\"" + NumberText(x1, 4) + "\" y1=\"" + NumberText(y1, 4) + "\" x2=\"" +
         NumberText(x2, 4) + "\" y2=\"" + NumberText(y2, 4) + "\"/>";
}

}  // namespace

const Spread::Quantity* Spread::Find(std::string_view key) const {
  const auto found = std::find_if(quantities.begin(), quantities.end(),
                                  [key](const Quantity& q) { return q.key == key; });
  return found == quantities.end() ? nullptr : &*found;
}

double Margin::Reach() const { return std::max(std::abs(below), std::abs(above)); }

std::optional<Margin> MarginOf(const Spread& spread, const host::Quantity& row) {
  if (row.source != Source::kMeasured || !row.measured || !std::isfinite(*row.measured)) {
    return std::nullopt;
  }
  // The name of a row begins with the key of the result message.
  const std::string_view name = row.name;
  const std::string_view angle = ", angle to the nominal";
  if (name.ends_with(angle)) {
    return DirectionMargin(spread.Find(name.substr(0, name.size() - angle.size())), *row.measured);
  }
  const double metres = *row.measured / kMillimetres;
  for (std::size_t i = 0; i < 3; ++i) {
    if (name == std::string("Location ") + "xyz"[i]) {
      return LengthMargin(spread.Find("Location"), i, 3, metres);
    }
  }
  return row.is_count ? std::nullopt : LengthMargin(spread.Find(name), 0, 1, metres);
}

std::string MarginText(const Margin& margin, std::string_view unit) {
  if (margin.within) return "within " + TableText(*margin.within, unit);
  if (std::abs(margin.above + margin.below) <= 0.1 * margin.Reach()) {
    return "\xC2\xB1" + TableText(0.5 * (margin.above - margin.below), unit);
  }
  return TableText(margin.below, unit, true) + " " + TableText(margin.above, unit, true);
}

std::string ErrorBar(const Margin& margin, const host::Quantity& row, double reach) {
  constexpr double kHalf = 50.0;    // of the picture's width
  constexpr double kRoom = 4.0;     // at either end
  constexpr double kHeight = 14.0;  // of the picture
  const auto at = [reach](double off) { return kHalf + off / reach * (kHalf - kRoom); };
  const double low = at(margin.below);
  const double high = at(margin.above);
  const double measured = row.measured.value_or(0.0);
  const std::string unit = row.unit == "mm" ? " mm" : row.unit;
  const std::string words =
      margin.within ? "The direction lies within " + TableText(*margin.within, row.unit) + unit +
                          " of the measured one with 95 %"
                    : "From " + TableText(measured + margin.below, row.unit) + " to " +
                          TableText(measured + margin.above, row.unit) + unit + " with 95 %";
  return "<svg class=\"bar\" role=\"img\" aria-label=\"" + Escaped(words) + "\" viewBox=\"0 0 " +
         NumberText(2.0 * kHalf) + " " + NumberText(kHeight) + "\"><title>" + Escaped(words) +
         "</title>" + LineSvg(low, 0.5 * kHeight, high, 0.5 * kHeight) +
         LineSvg(low, 2.0, low, kHeight - 2.0) + LineSvg(high, 2.0, high, kHeight - 2.0) +
         "<circle cx=\"" + NumberText(kHalf) + "\" cy=\"" + NumberText(0.5 * kHeight) +
         "\" r=\"3\"/></svg>";
}

std::string OriginText(const Spread& spread) {
  std::string text = spread.origin;
  if (!text.empty() && !text.ends_with('.')) text += '.';
  if (spread.trials <= 0 || spread.successes < 0 || spread.successes > spread.trials) return text;
  // Rounded down, so that 100 % is all of them.
  const double share = std::floor(1000.0 * static_cast<double>(spread.successes) /
                                  static_cast<double>(spread.trials)) /
                       10.0;
  return text + (text.empty() ? "" : " ") + "Trials: " + std::to_string(spread.trials) + ", " +
         std::to_string(spread.successes) + " of them successful (" + NumberText(share, 4) + " %).";
}

}  // namespace libmfx::host::report
