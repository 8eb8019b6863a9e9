#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "inspection/qif_xml.h"
#include "inspection/sheet.h"
#include "inspection/written.h"

/// \file
/// The parts of a QIF document. Numbers are in the plan's units, which the document names.

namespace libmfx::inspection {

/// Ids of what stands for one feature or characteristic. Without a measurement the last one is 0.
struct QifIds {
  int definition = 0, nominal = 0, item = 0, measurement = 0;
};

/// What all parts write from and to. Every id is given before anything is written, since what comes
/// first names what comes later.
class QifDocument {
 public:
  explicit QifDocument(const Sheet& sheet);

  const Sheet& sheet() const { return _sheet; }
  const UnitNumbers& units() const { return _units; }
  const std::vector<ToldResult>& results() const { return _results; }
  const QifIds& FeatureIds(std::size_t feature) const { return _features[feature]; }
  const QifIds& CharacteristicIds(std::size_t characteristic) const {
    return _characteristics[characteristic];
  }
  int PartId() const { return _part; }
  int StandardId() const { return _standard; }
  int ResultsId() const { return _results_id; }
  int LastId() const { return _last; }

  /// A list of ids with their number; nothing of none.
  void Ids(std::string_view name, const std::vector<int>& ids);
  /// Names with texts, for what the schema has no element for; nothing of none.
  void Remarks(const std::vector<std::pair<std::string, std::string>>& remarks);

  XmlText xml;

 private:
  const Sheet& _sheet;
  UnitNumbers _units;
  std::vector<ToldResult> _results;
  std::vector<QifIds> _features, _characteristics;
  int _last = 0, _part = 0, _standard = 0, _results_id = 0;
};

/// An id as an attribute has it.
inline std::string IdText(int id) { return std::to_string(id); }

/// Three coordinates with spaces between them.
std::string PointText(const Vector3d& point);

/// Element "Features"; nothing of a plan without any.
void WriteQifFeatures(QifDocument& document);
/// Element "MeasuredFeatures" of those that were measured; nothing of none.
void WriteQifMeasuredFeatures(QifDocument& document);

/// Element "Characteristics"; nothing of a plan without any.
void WriteQifCharacteristics(QifDocument& document);
/// Element "MeasuredCharacteristics", with those that were not measured too; nothing of none.
void WriteQifMeasuredCharacteristics(QifDocument& document);

}  // namespace libmfx::inspection
