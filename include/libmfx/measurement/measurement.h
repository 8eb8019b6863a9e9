#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <queue>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "libmfx/export.h"
#include "libmfx/features/feature.h"
#include "libmfx/features/result_value.h"

namespace libmfx::measurement {

/// Most re-scans that can be asked for.
inline constexpr int kMostPasses = 1000;

/// How a measurement is held.
struct MeasurementOptions {
  bool search = false;  ///< search once, when the first analysis fails and the request allows it
  int max_passes = 3;   ///< most re-scans around a moved nominal, 0 to kMostPasses
  bool omit_samples = false;    ///< the result of a scan path goes without its samples
  bool binary_samples = false;  ///< it holds them as one base64 text
};

using features::ResultValue;

/// The whole conversation about one request, turned around: it says what to drive, and takes what
/// came back, until it is done.
///
///     Measurement measurement(request);
///     while (!measurement.done()) measurement.take(Scan(measurement.drive()));
///     std::cout << measurement.result();
///
/// Searches, ranging scans and re-scans are further turns of that loop, of a bounded number.
/// Nothing throws on measurement data. An instance is used from one thread at a time, and since a
/// search goes by the tables of its class, two that may search not in two threads at once.
class LIBMFX_EXPORT Measurement {
 public:
  /// \param request the text of a target request; one that cannot be carried out is done at once
  explicit Measurement(const std::string& request, const MeasurementOptions& options = {});
  /// The same with a feature that was made elsewhere, has driven nothing yet, and outlives this.
  /// \param search_enabled asked, at most once, whether a search may follow a failure
  Measurement(features::Feature& feature, const MeasurementOptions& options,
              std::function<bool()> search_enabled);
  ~Measurement();
  Measurement(const Measurement&) = delete;
  Measurement& operator=(const Measurement&) = delete;

  /// Drive points, in order: the beam goes from one to the next, and a move to a point whose
  /// spacing is positive is sampled at that spacing. Empty when done.
  const std::vector<data_structures::Position>& drive() const { return _drive; }
  /// The drive step to which they belong.
  features::DRIVE_STEP step() const { return _step; }
  /// The samples of that drive. None at all asks for the same drive once more; none again breaks
  /// the measurement off.
  void take(const std::vector<data_structures::RawDataPoint>& samples);
  /// Nothing is left to drive.
  bool done() const { return _done; }
  /// Done for want of samples, or because the feature asked for scans without end: there is no
  /// result, and error() says why.
  bool broken_off() const { return _broken_off; }

  /// The result message; that of a failure always says why. Can be asked for at any time.
  std::string result() const;
  bool successful() const { return !_broken_off && _feature.GetIsSuccessful(); }
  /// Why not, for people; empty on success and before the end.
  const std::string& error() const { return _error; }
  /// What is measured, key by key in the order of the message; empty unless successful, and for a
  /// scan path, whose samples are its result.
  std::vector<ResultValue> values() const;
  /// One of them, if it was measured and is of that type: double, int, PointXYZW or VectorXYZW.
  template <typename T>
  std::optional<T> value(std::string_view key) const {
    for (const ResultValue& row : values()) {
      const T* found = std::get_if<T>(&row.value);
      if (row.key == key && found != nullptr) return *found;
    }
    return std::nullopt;
  }

  /// Whether a search was driven, and how many re-scans were.
  bool searched() const { return _searched; }
  int rescans() const { return _rescans; }
  const features::Feature& feature() const { return _feature; }

 private:
  void Begin();
  void BeginPass(const std::queue<data_structures::Position>& first);
  void Ask(std::queue<data_structures::Position> points);
  void Analyze();
  bool WantsRescan() const;
  void EndPass();
  void End();
  void BreakOff(const std::string& why);

  std::unique_ptr<features::Feature> _owned;
  features::Feature& _feature;
  MeasurementOptions _options;
  std::function<bool()> _search_enabled;

  std::vector<data_structures::Position> _drive;
  features::DRIVE_STEP _step = features::INITIAL;
  bool _was_drivable = false;  ///< the first pattern had points
  bool _again = false;         ///< this drive brought nothing once
  bool _rescanning = false;    ///< what is driven goes around a moved nominal
  int _stages = 0;             ///< scans of this pass
  bool _searched = false;
  int _rescans = 0;
  bool _done = false;
  bool _broken_off = false;
  std::string _error;
};

/// `Reset(false, search)` that leaves the settings, the nominal among them, as they are.
/// \returns whether the next pattern is a search
LIBMFX_EXPORT bool ResetKeepingSettings(features::Feature& feature, bool search);

/// Why a feature has nothing to drive, in the library's words; asks its analysis where it has not
/// said so yet.
LIBMFX_EXPORT std::string WhyNothingToDrive(features::Feature& feature);

/// The points of a queue, front first.
LIBMFX_EXPORT std::vector<data_structures::Position> PointsOf(
    std::queue<data_structures::Position> queue);

/// The name of a drive step: "INITIAL", "SURFACE_RANGE", "FEATURE_SCAN_PATTERN", "SEARCH" or
/// "RESCAN".
LIBMFX_EXPORT std::string StepName(features::DRIVE_STEP step);

}  // namespace libmfx::measurement
