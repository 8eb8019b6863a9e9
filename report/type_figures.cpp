#include "report/type_figures.h"

#include <map>

namespace libmfx::host::report {
namespace {

std::map<std::string, TypeFigures::Make>& Known() {
  static std::map<std::string, TypeFigures::Make> known;
  return known;
}

}  // namespace

TypeFigures::TypeFigures(const char* result_type, Make make) { Known()[result_type] = make; }

std::vector<Figure> TypeFigures::Of(const Measured& measured) {
  const nlohmann::json& result = measured.result;
  if (!result.is_object() || !result.contains("$type") || !result["$type"].is_string()) return {};
  const auto found = Known().find(result["$type"].get<std::string>());
  return found == Known().end() ? std::vector<Figure>() : found->second(measured);
}

std::vector<Eigen::Vector3d> ResultPoints(const nlohmann::json& result) {
  std::vector<Eigen::Vector3d> points;
  if (!result.is_object() || !result.contains("ScanData")) return points;
  const nlohmann::json& data = result["ScanData"];
  if (!data.is_object() || !data.contains("Data") || !data["Data"].is_array()) return points;
  const bool spherical = data.value("DataFormat", "") == "LR_AER";
  for (const nlohmann::json& row : data["Data"]) {
    if (!row.is_array() || row.size() < 3) continue;
    Eigen::Vector3d p;
    bool sound = true;
    for (std::size_t i = 0; i < 3; ++i) {
      sound = sound && row[i].is_number();
      if (sound) p[static_cast<int>(i)] = row[i].get<double>();
    }
    if (!sound) continue;
    points.push_back(spherical ? Cartesian(RawDataPoint(p.x(), p.y(), p.z(), 0.0, 0)) : p);
  }
  return points;
}

}  // namespace libmfx::host::report
