#include "inspection/frame.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "inspection/measurable.h"

namespace libmfx::inspection {
namespace {

/// What the nominals of a best fit are believed to be off, m: it weighs all features nearly alike,
/// since errors of the part are larger than those of its measurement.
constexpr double kPartError = 1e-4;

Eigen::Matrix3d RootOfMatrix(const Eigen::Matrix3d& covariance) {
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(covariance);
  const Vector3d roots = solver.eigenvalues().cwiseMax(0.0).cwiseSqrt();
  return solver.eigenvectors() * roots.asDiagonal();
}

std::string Listed(const Plan& plan, const std::vector<std::size_t>& features) {
  std::string text;
  for (const std::size_t i : features) text += (text.empty() ? "" : ", ") + plan.features[i].name;
  return text;
}

}  // namespace

PartFrame::Root PartFrame::RootOf(const FeatureSpread& spread) {
  return {.place = RootOfMatrix(spread.place),
          .direction = RootOfMatrix(spread.direction),
          .tangent = RootOfMatrix(spread.tangent),
          .length = std::sqrt(std::max(0.0, spread.length)),
          .width = std::sqrt(std::max(0.0, spread.width)),
          .radius = std::sqrt(std::max(0.0, spread.radius))};
}

FeatureNumbers PartFrame::Drawn(FeatureNumbers numbers, const Root& root, sim::Rng& rng) {
  const auto triple = [&rng] {
    const double x = rng.Normal();
    const double y = rng.Normal();
    return Vector3d(x, y, rng.Normal());
  };
  numbers.place += root.place * triple();
  numbers.direction = (numbers.direction + root.direction * triple()).normalized();
  numbers.tangent = (numbers.tangent + root.tangent * triple()).normalized();
  numbers.length += root.length * rng.Normal();
  numbers.width += root.width * rng.Normal();
  numbers.radius += root.radius * rng.Normal();
  return numbers;
}

PartFrame::PartFrame(const Plan& plan, const Survey& survey, std::uint64_t seed)
    : _plan(plan),
      _survey(survey),
      _seed(seed),
      _growth(plan.alignment.scales ? plan.part.Growth() : 1.0) {
  Numbers features;
  for (const Measured& measured : survey.features) {
    features.push_back(measured.is_measured ? measured.numbers : FeatureNumbers());
    _roots.push_back(RootOf(measured.spread));
  }
  std::vector<Numbers> references;
  for (const Found& found : survey.stations) {
    references.emplace_back();
    _reference_roots.emplace_back();
    for (const Measured& one : found.references) {
      references.back().push_back(one.is_measured ? one.numbers : FeatureNumbers());
      _reference_roots.back().push_back(RootOf(one.spread));
    }
  }
  _alignment.residuals.assign(plan.references.size(), FeatureNumbers::kNone);
  _alignment.scale = _growth;
  for (const Found& found : survey.stations) {
    if (found.left_out) _alignment.left_out = found.left_out;
    _poses.push_back(found.pose);
  }
  _best.assign(features.size(), FeatureNumbers());
  if (const auto poses = Stations(references)) {
    _poses = *poses;
  } else {
    _why = "the stations do not fit together";
    return;
  }
  const Numbers rough = Rough(features, _poses);
  const std::optional<PoseFit> fit = Lay(rough, _why);
  if (!fit) {
    if (_why.empty()) _why = "what was measured does not tell it";
    return;
  }
  _why.clear();
  _frame = fit->pose;
  _best = InFrame(rough, _frame);
  Tell();
}

void PartFrame::Tell() {
  switch (_plan.alignment.method) {
    case AlignmentPlan::Method::kReferences: {
      std::vector<std::size_t> used;
      for (std::size_t i = 0; i < _plan.references.size(); ++i) {
        if (_alignment.left_out != i) used.push_back(_plan.references[i].feature);
      }
      _alignment.method = "references " + Listed(_plan, used);
      break;
    }
    case AlignmentPlan::Method::kBestFit:
      _alignment.method = "best fit of " + Listed(_plan, _plan.alignment.features);
      break;
    case AlignmentPlan::Method::kDatums:
      _alignment.method = "datums";
      for (const Datum& datum : _plan.datums) {
        _alignment.method += " " + datum.name + " (" + Listed(_plan, datum.features) + ")";
      }
      break;
  }
  for (std::size_t i = 0; i < _plan.references.size(); ++i) {
    const std::size_t feature = _plan.references[i].feature;
    const PlannedFeature& nominal = _plan.features[feature];
    const Vector3d off = _best[feature].place - nominal.place;
    _alignment.residuals[i] = (nominal.MeasuredDirections() * off).norm();
  }
}

std::optional<std::vector<Eigen::Isometry3d>> PartFrame::Stations(
    const std::vector<Numbers>& references) const {
  if (_survey.adjusted.empty()) return _poses;
  std::vector<Eigen::Isometry3d> poses;
  for (std::size_t s = 0; s < references.size(); ++s) {
    std::vector<AlignedPlace> places;
    for (std::size_t i = 0; i < references[s].size(); ++i) {
      if (!references[s][i].IsMeasured() || _survey.stations[s].left_out == i) continue;
      const PlannedFeature& feature = _plan.features[_plan.references[i].feature];
      AlignedPlace place =
          PlaceOf(feature, references[s][i], _survey.stations[s].references[i].spread, 1.0);
      place.nominal = _survey.adjusted[i];
      places.push_back(place);
    }
    std::string why;
    // Places that were adjusted are off by no more than the measurement itself.
    const std::optional<PoseFit> fit = FitPose(places, _poses[s], 1e-6, why);
    if (!fit) return std::nullopt;
    poses.push_back(fit->pose);
  }
  return poses;
}

PartFrame::Numbers PartFrame::Rough(const Numbers& features,
                                    const std::vector<Eigen::Isometry3d>& poses) const {
  Numbers rough;
  rough.reserve(features.size());
  for (std::size_t i = 0; i < features.size(); ++i) {
    rough.push_back(features[i].IsMeasured()
                        ? Moved(features[i], poses[_survey.features[i].station].inverse())
                        : features[i]);
  }
  return rough;
}

std::optional<AlignedPlace> PartFrame::Placed(std::size_t feature, const Numbers& rough,
                                              double floor) const {
  if (!rough[feature].IsMeasured()) return std::nullopt;
  const Measured& measured = _survey.features[feature];
  AlignedPlace place = PlaceOf(_plan.features[feature], rough[feature], measured.spread, _growth);
  place.covariance =
      Turned(measured.spread.place, measured.station) + floor * floor * Eigen::Matrix3d::Identity();
  return place;
}

std::optional<PoseFit> PartFrame::LayByDatums(const Numbers& rough, std::string& why) const {
  std::vector<DatumPlaces> datums;
  for (const Datum& datum : _plan.datums) {
    DatumPlaces& one = datums.emplace_back();
    one.name = datum.name;
    for (const std::size_t i : datum.features) {
      std::optional<AlignedPlace> place = Placed(i, rough, kPartError);
      if (!place) {
        why = "datum " + datum.name + ": \"" + _plan.features[i].name + "\" was not measured";
        return std::nullopt;
      }
      place->directions = Shared(place->directions, TakenBy(datum));
      one.places.push_back(*place);
    }
  }
  return FitDatums(datums, Eigen::Isometry3d::Identity(), why);
}

std::optional<PoseFit> PartFrame::Lay(const Numbers& rough, std::string& why) const {
  if (_plan.alignment.method == AlignmentPlan::Method::kDatums) return LayByDatums(rough, why);
  std::vector<AlignedPlace> places;
  if (_plan.alignment.method == AlignmentPlan::Method::kReferences) {
    for (std::size_t i = 0; i < _plan.references.size(); ++i) {
      const Reference& reference = _plan.references[i];
      if (_alignment.left_out == i) continue;
      if (auto place = Placed(reference.feature, rough, reference.tolerance / 3.0)) {
        places.push_back(*place);
      }
    }
  } else {
    for (const std::size_t i : _plan.alignment.features) {
      if (auto place = Placed(i, rough, kPartError)) places.push_back(*place);
    }
  }
  return FitPose(places, Eigen::Isometry3d::Identity(), 0.0, why);
}

PartFrame::Numbers PartFrame::InFrame(Numbers rough, const Eigen::Isometry3d& frame) const {
  for (FeatureNumbers& numbers : rough) {
    if (numbers.IsMeasured()) numbers = Scaled(Moved(numbers, frame.inverse()), 1.0 / _growth);
  }
  return rough;
}

std::vector<FeatureNumbers> PartFrame::Draw(std::uint64_t number) const {
  sim::Rng rng(sim::DeriveSeed(_seed, "draw " + std::to_string(number)));
  Numbers features;
  for (std::size_t i = 0; i < _survey.features.size(); ++i) {
    const Measured& measured = _survey.features[i];
    features.push_back(measured.is_measured ? Drawn(measured.numbers, _roots[i], rng)
                                            : FeatureNumbers());
  }
  std::vector<Eigen::Isometry3d> poses = _poses;
  if (!_survey.adjusted.empty()) {
    std::vector<Numbers> references;
    for (std::size_t s = 0; s < _survey.stations.size(); ++s) {
      references.emplace_back();
      for (std::size_t i = 0; i < _plan.references.size(); ++i) {
        const Measured& one = _survey.stations[s].references[i];
        const std::size_t feature = _plan.references[i].feature;
        // What is a feature as well was drawn with them.
        const bool is_feature =
            _survey.features[feature].station == s && _survey.features[feature].is_measured;
        references.back().push_back(!one.is_measured ? FeatureNumbers()
                                    : is_feature     ? features[feature]
                                                 : Drawn(one.numbers, _reference_roots[s][i], rng));
      }
    }
    const auto drawn = Stations(references);
    if (!drawn) return Numbers(features.size());
    poses = *drawn;
  }
  const Numbers rough = Rough(features, poses);
  std::string why;
  const std::optional<PoseFit> fit = Lay(rough, why);
  return fit ? InFrame(rough, fit->pose) : Numbers(features.size());
}

Eigen::Isometry3d PartFrame::PoseOf(std::size_t station) const { return _poses[station] * _frame; }

Eigen::Matrix3d PartFrame::Turned(const Eigen::Matrix3d& covariance, std::size_t station) const {
  const Eigen::Matrix3d& rotation = _poses[station].linear();
  return rotation.transpose() * covariance * rotation;
}

}  // namespace libmfx::inspection
