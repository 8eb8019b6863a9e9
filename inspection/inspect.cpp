#include "inspection/inspect.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/errors.h"
#include "host/interrupts.h"
#include "host/numbers.h"
#include "inspection/adjustment.h"
#include "inspection/characteristics.h"
#include "inspection/finding.h"
#include "inspection/frame.h"
#include "inspection/measured.h"
#include "inspection/requests.h"
#include "inspection/widened.h"
#include "libmfx/data_structures/records.h"
#include "sim/rng.h"
#include "uncertainty/plan.h"

namespace libmfx::inspection {
namespace {

using host::CallError;

/// A trial of a thread, which is traced step by step, takes as long as so many others: it has fewer
/// of them. 66 tell a standard uncertainty within 9 %.
constexpr long long kThreadCost = 6;
/// Most samples of a feature that are kept for pictures.
constexpr std::size_t kMostPoints = 2000;

/// Why a feature cannot be seen from a place, whatever is in between; empty where it may be.
std::string WhyNotSeen(const PlannedFeature& feature, const Eigen::Isometry3d& pose) {
  if (feature.direction.isZero()) return {};
  // The axis of a bore points into the part, away from who sees it; a stud is seen from the side
  // too.
  if (feature.type == "StudFeature") return {};
  const Vector3d place = pose * feature.place;
  const double sense = feature.type == "ThreadedHoleFeature" ? -1.0 : 1.0;
  const double cosine = -sense * (pose.linear() * feature.direction).dot(place.normalized());
  if (cosine > 0.0) return {};
  const double degrees = std::acos(std::clamp(cosine, -1.0, 1.0)) * 180.0 / 3.14159265358979;
  return "it faces away from the instrument, by " + host::Rounded(degrees, 3) + "\xC2\xB0";
}

class Inspection {
 public:
  Inspection(const Plan& plan, Folder& folder, Instruments* instruments,
             const InspectOptions& options, const Listener& listener)
      : _plan(plan),
        _folder(folder),
        _options(options),
        _listener(listener),
        _steps(folder, instruments, options.program, [this](const std::string& step) {
          if (_listener.drives) _listener.drives(step);
        }) {
    _survey.features.resize(plan.features.size());
  }

  Sheet Carry() {
    // A station is left for good: there may be one instrument, which is carried to the next.
    for (std::size_t s = 0; s < _plan.stations.size(); ++s) {
      FindFrom(s);
      for (std::size_t i = 0; i < _plan.features.size(); ++i) Measure(i, s);
    }
    Bundle();
    const bool tried = _folder.beginning().trials > 0;
    if (tried) Try();
    return SheetOf();
  }

 private:
  void Begins(const std::string& name) {
    if (_listener.begins) _listener.begins(name, _done, _plan.features.size());
  }

  void FindFrom(std::size_t station) {
    Begins("references from " + _plan.stations[station].name);
    Found found = FindPart(_plan, station, _steps);
    for (std::size_t i = 0; i < found.references.size(); ++i) {
      Measured& kept = _survey.features[_plan.references[i].feature];
      const Measured& one = found.references[i];
      if (kept.is_measured || !one.was_tried) continue;
      kept = one;
      ++_done;
      Ended(_plan.references[i].feature);
    }
    for (const std::string& note : found.notes) {
      _notes.push_back("station " + _plan.stations[station].name + ": " + note);
    }
    _survey.stations.push_back(std::move(found));
  }

  /// Of several stations the poses that fit together.
  void Bundle() {
    if (_plan.stations.size() < 2) return;
    std::vector<Sighting> sightings;
    std::vector<double> tolerances;
    std::vector<Eigen::Isometry3d> poses;
    for (const Reference& reference : _plan.references) {
      tolerances.push_back(reference.tolerance / 3.0);
    }
    for (std::size_t s = 0; s < _survey.stations.size(); ++s) {
      const Found& found = _survey.stations[s];
      poses.push_back(found.pose);
      for (std::size_t i = 0; i < found.references.size(); ++i) {
        const Measured& one = found.references[i];
        if (!one.is_measured || found.left_out == i) continue;
        const PlannedFeature& feature = _plan.features[_plan.references[i].feature];
        sightings.push_back({s, i, PlaceOf(feature, one.numbers, one.spread, _plan.part.Growth())});
      }
    }
    std::string why;
    const std::optional<Adjustment> adjusted = Adjust(sightings, tolerances, poses, why);
    if (!adjusted) throw CallError("the stations cannot be adjusted: " + why);
    for (std::size_t s = 0; s < poses.size(); ++s) _survey.stations[s].pose = adjusted->poses[s];
    _survey.adjusted = adjusted->places;
  }

  void Ended(std::size_t feature) {
    if (!_listener.ended) return;
    const Measured& one = _survey.features[feature];
    _listener.ended(_plan.features[feature].name, one.is_measured ? "measured" : one.reason);
  }

  void Measure(std::size_t index, std::size_t station) {
    const PlannedFeature& feature = _plan.features[index];
    Measured& kept = _survey.features[index];
    const bool is_asked = std::count(feature.stations.begin(), feature.stations.end(), station) > 0;
    if (kept.is_measured || !is_asked || IsReferenceOf(index, station)) return;
    Begins(feature.name);
    const Eigen::Isometry3d& pose = _survey.stations[station].pose;
    const std::string why = WhyNotSeen(feature, pose);
    if (why.empty()) {
      const json request = WithUsual(RequestAt(feature, pose, _plan.part.Growth()), feature);
      const bool searches = request.value("SearchEnabled", false);
      const HeldStep held =
          _steps.Hold(station, feature.name, request.dump(), {.search = searches, .max_passes = 3});
      kept = MeasuredOf(held, feature, station, pose);
      if (!held.note.empty()) _notes.push_back(feature.name + ": " + held.note);
    } else if (!kept.was_tried) {
      kept.reason = why;
    }
    if (!kept.is_measured && !IsLast(feature, station)) return;
    ++_done;
    Ended(index);
  }

  /// Whether the station has tried it already, as a reference.
  bool IsReferenceOf(std::size_t feature, std::size_t station) const {
    const Found& found = _survey.stations[station];
    for (std::size_t i = 0; i < found.references.size(); ++i) {
      if (_plan.references[i].feature == feature && found.references[i].was_tried) return true;
    }
    return false;
  }

  /// Whether no later station tries it.
  static bool IsLast(const PlannedFeature& feature, std::size_t station) {
    return station >= *std::max_element(feature.stations.begin(), feature.stations.end());
  }

  /// How sure everything is, by trials.
  void Try() {
    const uncertainty::InstrumentModel model =
        _folder.ModelFile().empty() ? uncertainty::InstrumentModel()
                                    : uncertainty::ReadInstrumentModel(_folder.ModelFile());
    Asked usual;
    Asked threaded;
    for (std::size_t i = 0; i < _survey.features.size(); ++i) {
      Measured& one = _survey.features[i];
      if (!one.is_measured || _plan.features[i].type == "ScanPathFeature") continue;
      const std::string& name = _plan.features[i].name;
      if (host::Uninterrupted::IsAsked()) throw Interrupted();
      try {
        uncertainty::Question question =
            uncertainty::After(host::ReadRecording(_folder.File(one.file)), model,
                               sim::DeriveSeed(_folder.beginning().seed, name));
        Asked& asked = question.plan.twin.thread.is_null() ? usual : threaded;
        asked.questions.push_back(std::move(question));
        asked.which.push_back(i);
      } catch (const CallError& error) {
        one.is_sure = false;
        _notes.push_back(name + ": how sure it is cannot be told: " + error.what());
      }
    }
    const long long trials = _folder.beginning().trials;
    TakeAnswers(usual, trials);
    TakeAnswers(threaded, trials / kThreadCost);
  }

  /// Features whose uncertainties are asked for together.
  struct Asked {
    std::vector<std::size_t> which;
    std::vector<uncertainty::Question> questions;
  };

  void TakeAnswers(const Asked& asked, long long trials) {
    const std::vector<std::size_t>& which = asked.which;
    const uncertainty::RunOptions run{
        .most = std::max(2LL, trials), .digits = 2, .processes = _options.processes};
    const auto answers = AnswersOf(asked.questions, run, [this](long long done, long long most) {
      if (_listener.tries) _listener.tries(done, most);
    });
    if (host::Uninterrupted::IsAsked()) throw Interrupted();
    for (std::size_t k = 0; k < which.size(); ++k) {
      Measured& one = _survey.features[which[k]];
      one.is_sure = false;
      const PlannedFeature& feature = _plan.features[which[k]];
      TakeUncertainty(answers[k], feature, _survey.stations[one.station].pose, one);
      if (!one.is_sure) {
        _notes.push_back(feature.name + ": how sure it is cannot be told: no trial succeeded");
      }
      // A reference takes part in the stations' poses with the same spread.
      for (Found& found : _survey.stations) {
        for (std::size_t r = 0; r < found.references.size(); ++r) {
          Measured& reference = found.references[r];
          if (_plan.references[r].feature == which[k] && reference.file == one.file) {
            reference = one;
          }
        }
      }
    }
  }

  /// Whether how sure the frame is is known.
  bool IsFrameSure() const {
    for (std::size_t i = 0; i < _survey.features.size(); ++i) {
      const Measured& one = _survey.features[i];
      const bool lays =
          _plan.alignment.method == AlignmentPlan::Method::kReferences
              ? std::any_of(_plan.references.begin(), _plan.references.end(),
                            [i](const Reference& r) { return r.feature == i; })
          : _plan.alignment.method == AlignmentPlan::Method::kBestFit
              ? std::count(_plan.alignment.features.begin(), _plan.alignment.features.end(), i) > 0
              : std::any_of(_plan.datums.begin(), _plan.datums.end(), [i](const Datum& datum) {
                  return std::count(datum.features.begin(), datum.features.end(), i) > 0;
                });
      if (lays && one.is_measured && !one.is_sure) return false;
    }
    return true;
  }

  Sheet SheetOf() {
    const PartFrame frame(_plan, _survey, _folder.beginning().seed);
    Sheet sheet;
    sheet.plan = _plan;
    sheet.program = _folder.beginning().program;
    sheet.time = _folder.beginning().time;
    sheet.uncertainties = OriginText();
    sheet.notes = _notes;
    if (!frame.why().empty()) {
      sheet.notes.push_back("the part's frame was not laid: " + frame.why());
    }
    sheet.alignment = frame.alignment();
    const bool is_frame_sure = IsFrameSure();
    std::vector<bool> sure;
    std::vector<std::string> reasons;
    for (std::size_t i = 0; i < _plan.features.size(); ++i) {
      sheet.features.push_back(ResultOf(i, frame));
      sure.push_back(_survey.features[i].is_sure && is_frame_sure);
      const bool is_lost = _survey.features[i].is_measured && !frame.why().empty();
      reasons.push_back(is_lost ? "the part's frame was not laid: " + frame.why()
                                : _survey.features[i].reason);
    }
    for (std::size_t s = 0; s < _plan.stations.size(); ++s) {
      sheet.stations.push_back(StationOf(s, frame));
    }
    sheet.characteristics = Judge(
        _plan, frame.best(), sure, reasons,
        [&frame](std::uint64_t number) { return frame.Draw(number); }, kDraws);
    return sheet;
  }

  std::string OriginText() const {
    const long long trials = _folder.beginning().trials;
    if (trials == 0) {
      return "From the scatter of each fit alone: nothing that shifts all samples alike is in "
             "them.";
    }
    return "Each measurement was carried out up to " + std::to_string(trials) +
           " times again by the virtual instrument (a thread " +
           std::to_string(std::max(2LL, trials / kThreadCost)) +
           " times), in front of a part as it was measured and with the noise that its samples "
           "show.";
  }

  FeatureResult ResultOf(std::size_t index, const PartFrame& frame) const {
    const Measured& one = _survey.features[index];
    FeatureResult result;
    result.is_measured = one.is_measured;
    result.reason = one.reason;
    result.warnings = one.warnings;
    result.recording = one.file;
    if (one.was_tried) result.station = one.station;
    if (!one.is_measured) return result;
    result.measured = frame.best()[index];
    result.spread = one.spread;
    result.spread.place = frame.Turned(one.spread.place, one.station);
    result.spread.direction = frame.Turned(one.spread.direction, one.station);
    result.spread.tangent = frame.Turned(one.spread.tangent, one.station);
    result.points = PointsOf(one, frame.PoseOf(one.station).inverse());
    return result;
  }

  std::vector<Vector3d> PointsOf(const Measured& one, const Eigen::Isometry3d& to_part) const {
    const host::Recording recording = host::ReadRecording(_folder.File(one.file));
    std::vector<Vector3d> points;
    if (recording.exchanges.empty()) return points;
    const std::vector<host::RawDataPoint>& samples = recording.exchanges.back().samples;
    const std::size_t step = samples.size() / kMostPoints + 1;
    for (std::size_t i = 0; i < samples.size(); i += step) {
      const host::RawDataPoint& sample = samples[i];
      if (!(sample.range > 0.0) || !(sample.quality >= 50.0)) continue;
      const Vector3d p = data_structures::AzElRange(sample.azimuth, sample.elevation, sample.range)
                             .ToPoint()
                             .xyz();
      if (p.allFinite()) points.push_back(to_part * p);
    }
    return points;
  }

  StationResult StationOf(std::size_t station, const PartFrame& frame) const {
    StationResult result;
    result.pose = frame.PoseOf(station);
    result.instrument = _steps.InstrumentName(station);
    std::vector<std::size_t> which;
    std::vector<AlignedPlace> places =
        PlacesOf(_plan, _survey.stations[station].references, _plan.part.Growth(), which);
    std::string why;
    const auto fit = FitPose(places, _survey.stations[station].pose, 1e-6, why);
    if (fit) {
      const Eigen::Matrix<double, 6, 1> standard =
          fit->covariance.diagonal().cwiseMax(0.0).cwiseSqrt();
      result.turn_standard = standard.head<3>();
      result.position_standard = standard.tail<3>();
    }
    return result;
  }

  const Plan& _plan;
  Folder& _folder;
  const InspectOptions& _options;
  const Listener& _listener;
  Steps _steps;
  Survey _survey;
  std::size_t _done = 0;
  std::vector<std::string> _notes;
};

}  // namespace

Sheet Inspect(const Plan& plan, Folder& folder, Instruments* instruments,
              const InspectOptions& options, const Listener& listener) {
  return Inspection(plan, folder, instruments, options, listener).Carry();
}

}  // namespace libmfx::inspection
