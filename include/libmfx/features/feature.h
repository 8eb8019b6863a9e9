#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <queue>
#include <string>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/data_structures/records.h"
#include "libmfx/export.h"
#include "libmfx/features/stages.h"
#include "libmfx/log/logger.h"
#include "libmfx/win32_support/feature_descriptor.h"

namespace libmfx::messages {
class Request;
}

namespace libmfx::features {

namespace shared {
struct FeatureAccess;
struct FeatureClass;
struct SearchNominal;
class PlanChecks;
class RequestKeys;
class ResultKeys;
class Settings;
}  // namespace shared

using data_structures::AzElRange;
using data_structures::EMBEDDING_AER;
using data_structures::EMBEDDING_XY;
using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointEmbedding;
using data_structures::PointXYZW;
using data_structures::Position;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;

/// Where a measurement stands.
enum DRIVE_STEP : int {
  INITIAL = 0,               ///< the pass begins, or its scan data is in hand
  SURFACE_RANGE = 1,         ///< a short ranging scan is out
  FEATURE_SCAN_PATTERN = 2,  ///< the feature's pattern is out, as SetRawData handed it out
  SEARCH = 3,                ///< a search pattern is out; its samples move the nominal
  RESCAN = 4,                ///< an analysis moved the nominal, perhaps for a pass made since
};

/// Form of the samples in the result of a scan path.
enum SCANPATH_RETURNTYPE : int {
  SCANPATH_RETURN_JSON = 0,    ///< an object with a "Data" array
  SCANPATH_RETURN_BINARY = 1,  ///< one base64 string
};

/// One measurement of one nominal feature, and its conversation with the host.
///
/// The host holds it like this: `GetDrivePoints(false)`, drive, `SetRawData` until it returns true
/// (each false hands out a further queue), `AnalyzeFeature`, perhaps a further pass, `GetResult`. A
/// further pass is asked for when `GetDriveStep()` is RESCAN, `GetIsSuccessful()` is false and
/// `GetError()` is empty; RESCAN alone still stands there after that pass has succeeded. The pass
/// is `GetDrivePoints(true)`, drive, `UpdateRawData`, `AnalyzeFeature`, without a `Reset`. Nothing
/// here throws on measurement data: a failure is a text in `GetError()`, which the result message
/// carries too. An instance is driven from one thread at a time.
class LIBMFX_EXPORT Feature {
 public:
  /// The feature that a JSON request asks for; an UnknownFeature if it cannot be understood. Never
  /// null; the caller owns it. A request with bad content makes a feature whose GetError() tells.
  static Feature* Create(const std::string& json);
  /// A scan path over `path`, whose spacings are kept; samples below `quality_threshold` count as
  /// filtered. The caller owns it.
  static Feature* Create(std::queue<Position> path, double quality_threshold);

  /// A copy takes every field. Its lines go out under the source's name while the source exists,
  /// and under its own afterwards.
  Feature(const Feature& other);
  Feature& operator=(const Feature&) = default;
  virtual ~Feature() = default;

  /// The key of the class, as log lines and InstantiateFeature name it; empty for a class without
  /// tables.
  virtual const std::string& FeatureName();

 protected:
  /// The address of a setting of this instance; the caller types it by the setting's tag.
  virtual void* AddressOfSetting(const std::wstring& name) const;

 private:
  /// Bytes from the start of an instance to a setting.
  /// \throws std::out_of_range that names class and setting, if there is no such setting
  virtual std::size_t OffsetOfSetting(const std::wstring& name) const;
  /// Puts every setting back to the default that stands in the class's descriptor.
  virtual void ResetSettings();
  /// What the class says of itself as tables: settings, request, plan checks, search, result.
  virtual const shared::FeatureClass& Class() const;

 public:
  /// Takes the error back and prepares another try. Unless `reanalyze` is set this puts every
  /// setting back to its default, the nominal included.
  /// \param reanalyze keeps the samples, the step and the settings: only AnalyzeFeature follows
  /// \param search asks for a search pattern, if the request enabled search and no re-scan moved
  ///   the nominal
  /// \return whether the next pattern is a search; false also when the nominals are not valid
  virtual bool Reset(bool reanalyze, bool search);
  /// Takes the samples of the pass; a class with a search has the stages of SetRawDataStaged.
  /// \param next receives the queue to drive before analysis, when false is returned
  virtual bool SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next);
  /// Replaces the samples, whatever the step.
  virtual void UpdateRawData(const std::vector<RawDataPoint>& samples);
  /// The feature pattern most recently generated; a search pattern does not stand here.
  virtual const std::queue<Position>& GetLastDrivePoints();
  /// The queue to drive, generated if there is none yet or `force` is set.
  virtual const std::queue<Position>& GetDrivePoints(bool force);
  virtual void AnalyzeFeature();
  /// The result message, one JSON text; can be called at any time.
  virtual std::string GetResult() const;
  virtual bool GetIsSuccessful() const;
  virtual std::string GetError() const;
  virtual std::string GenerateResult() const;
  virtual DRIVE_STEP GetDriveStep() const;
  /// The request's "$id" for a scan path, empty for all other classes.
  virtual std::string GetUuid();
  /// The quality threshold of a scan path, 0 for all other classes.
  virtual double QualityThreshold();

 protected:
  virtual bool Analyze() = 0;
  virtual std::queue<Position> GenerateDrivePoints() = 0;
  /// Moves the nominal to what the samples of a search show, if the class has a search.
  virtual void UpdateNominals(const std::vector<RawDataPoint>& samples);
  virtual bool ValidateNominals();

 public:
  const std::vector<RawDataPoint>& GetRawData() const { return _raw_data; }
  /// What the last analysis saw that makes its result doubtful although every test passed: texts
  /// for the operator, each with its figure and what to do. Empty after Reset, and while an
  /// analysis has found none.
  const std::vector<std::string>& GetWarnings() const { return _warnings; }
  /// What the last analysis made of the samples, stage by stage; empty after Reset, and before an
  /// analysis.
  const Stages& GetStages() const { return _stages; }
  bool GetHighSpeedAllowed() { return _high_speed_allowed; }
  void OutputDataBySegment(bool by_segment) { _output_data_by_segment = by_segment; }
  bool OutputDataBySegment() { return _output_data_by_segment; }
  void SetScanPathReturnType(SCANPATH_RETURNTYPE type) { _scan_path_return_type = type; }

  /// The live value of a setting: T is double, int, bool, PointXYZW, AzElRange or VectorXYZW.
  /// \throws std::domain_error with the tag's text on the wrong type
  /// \throws std::out_of_range if there is no such setting
  template <typename T>
  T GetSetting(const std::wstring& name) const;
  /// Writes the live value of a setting; the same types and errors.
  template <typename T>
  void SetSetting(const std::wstring& name, const T& value);

 protected:
  Feature();

  /// Stores the text, sets the error flag if it is not empty, and logs it at level 3.
  void SetError(const std::string& message);
  /// Reads a request by the class's table; a refusal is the error, and the nominals are invalid.
  /// \return whether the nominals are valid
  bool ReadRequest(const std::string& json);
  bool ReadRequest(const messages::Request& request);
  /// Why no plan can be made of the settings, or an empty text.
  std::string RefusePlan() const;
  /// The plan where no pattern is to be made: nothing after an error or a refusal, the spiral where
  /// a search is asked for.
  std::optional<std::queue<Position>> PlanWithoutPattern();
  /// The search pattern around the nominal.
  std::queue<Position> SearchPattern();
  /// SetError, and false: what an operation ends with that cannot go on.
  bool Fail(const std::string& text);
  /// SetError, no last pattern, and nothing to drive: what a plan ends with that is refused.
  std::queue<Position> Refuse(const std::string& why);
  /// The end of a plan: what no instrument can drive is refused; the rest is unwrapped to the sign
  /// of the nominal's azimuth, and is the last pattern.
  std::queue<Position> HandOut(std::queue<Position> path, const PointXYZW& nominal);
  /// The record of the analysis that is under way.
  Stages& Record() { return _stages; }
  /// Puts a test down in the record.
  /// \return passed
  bool Passed(const char* what, double value, double limit, bool passed);
  /// Adds a doubt about the result and logs it at level 2. It changes no number and no step.
  void Warn(const std::string& text);
  void Warn(const std::vector<std::string>& texts);
  /// Makes a path that crosses the azimuth seam drivable. Consumes `queue`.
  /// \param direction +1 or -1 prefers that sign of azimuth, 0 chooses from the data
  /// \param allow_flip lets a path in both rear bands be sent over the top of the instrument
  std::queue<Position> UnwrapDrivePoints(std::queue<Position>& queue, int direction,
                                         bool allow_flip);
  /// An angle brought to (-pi, pi] by at most one turn, radians.
  double Constrain180(double angle);
  /// A negative angle raised by one turn, radians.
  double Constrain360(double angle);
  /// SetRawData of the classes whose measurement has stages: with no samples at INITIAL it hands
  /// out the pattern, at SEARCH it moves the nominal and hands out the pattern around it.
  bool SetRawDataStaged(const std::vector<RawDataPoint>& samples, std::queue<Position>& next);
  /// The search pattern around a nominal: a spiral of radius `max_radius` (metres) in the plane
  /// through `center` across `normal`, with the search's point spacing as pitch and as spacing.
  /// Sets SEARCH and takes the wish to search back. A spiral that no instrument can drive is an
  /// error, and empty.
  std::queue<Position> GenerateSearchPattern(const PointXYZW& center, const VectorXYZW& normal,
                                             double max_radius);
  /// The re-scan rule: when `distance` exceeds the threshold, tells so on standard output, sets
  /// RESCAN and returns true. The caller then moves its nominal and fails without a text, by which
  /// the host sees that a pass is asked for.
  bool TriggerRescan(double distance);
  /// The re-scan rule for what was measured: where a pass is asked for, the nominal of the search
  /// moves to it.
  bool AsksForRescan(const PointXYZW& center, const VectorXYZW& normal);
  /// What every analysis begins with: the usable samples of the pass as a cloud.
  /// \return false after an error, and with one if there is no such sample
  bool TakeScan(PointEmbedding embedding, double quality_threshold, PointCloud& scan,
                const char* none_left = "All scanned data was filtered!");

  mutable log::LibMfxLogger _logger;  ///< writing a line does not change the feature
  std::string _uuid;
  std::string _name;
  std::vector<RawDataPoint> _raw_data;
  std::queue<Position> _drive_points;
  std::queue<Position> _last_drive_points;
  bool _is_successful = false;
  std::string _error;
  DRIVE_STEP _drive_step = INITIAL;
  bool _has_error = false;
  bool _search_enabled = false;
  bool _search = false;
  bool _nominals_valid = true;
  double _rescan_threshold = std::numeric_limits<double>::max();  ///< metres
  double _search_radius_multiplier = 2.0;
  double _search_point_spacing = 0.001;  ///< metres
  bool _high_speed_allowed = true;
  SCANPATH_RETURNTYPE _scan_path_return_type = SCANPATH_RETURN_JSON;
  bool _output_data_by_segment = false;

 private:
  friend struct shared::FeatureAccess;
  friend class log::LibMfxLogger;

  std::vector<std::string> _warnings;
  Stages _stages;
  log::Life _life;  ///< tells the loggers of copies whether this feature still exists
};

}  // namespace libmfx::features
