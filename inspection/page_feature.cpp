// The section of a feature: all that was measured of it, and what was asked.

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/json_text.h"
#include "inspection/page_parts.h"
#include "inspection/page_words.h"
#include "report/tables.h"

namespace libmfx::inspection::page {
namespace {

using host::report::Element;

std::string TypeWords(const std::string& type) {
  return Text(host::report::TitleOf(host::Dump(json{{"Feature", {{"$type", type}}}})));
}

std::string Cell(const std::string& number) { return "<td class=\"number\">" + number + "</td>"; }

/// The rows of a feature's table.
class Rows {
 public:
  explicit Rows(const Units& units) : _numbers(units) {}

  void Length(const std::string& name, double nominal, double measured, double variance) {
    if (!std::isfinite(nominal) && !std::isfinite(measured)) return;
    Add(name + " / " + _numbers.LengthName(), _numbers.Length(nominal), _numbers.Length(measured),
        _numbers.Length(measured - nominal, true),
        Standard(measured, variance, [this](double s) { return _numbers.Length(s); }));
  }

  void Place(const Vector3d& nominal, const Vector3d& measured, const Eigen::Matrix3d& covariance) {
    for (int i = 0; i < 3; ++i) {
      Length(std::string("Place ") + "xyz"[i], nominal[i], measured[i], covariance(i, i));
    }
  }

  /// Three components and the angle between both; no rows for a type without it.
  void Direction(const std::string& name, const Vector3d& nominal, const Vector3d& measured,
                 const Eigen::Matrix3d& covariance) {
    if (nominal.isZero() && !measured.allFinite()) return;
    constexpr int kDecimals = 6;
    for (int i = 0; i < 3; ++i) {
      Add(name + " " + "xyz"[i], Fixed(nominal[i], kDecimals), Fixed(measured[i], kDecimals),
          Fixed(measured[i] - nominal[i], kDecimals, true),
          Standard(measured[i], covariance(i, i), [](double s) { return Fixed(s, kDecimals); }));
    }
    if (nominal.isZero() || !nominal.allFinite() || !measured.allFinite()) return;
    const double angle = std::atan2(nominal.cross(measured).norm(), nominal.dot(measured));
    Add(name + ", angle to the nominal", kNothing, kNothing,
        _numbers.Angle(angle) + _numbers.AngleName(), kNothing);
  }

  bool IsEmpty() const { return _rows.empty(); }

  std::string Html(bool is_doubted) const {
    std::string head = "<th scope=\"col\">quantity</th>";
    for (const char* name : {"nominal", "measured", "deviation", "standard uncertainty"}) {
      head += "<th scope=\"col\" class=\"number\">" + std::string(name) + "</th>";
    }
    return Element(is_doubted ? "table class=\"list sizes doubted\"" : "table class=\"list sizes\"",
                   "\n" + Element("thead", Element("tr", head)) + Element("tbody", "\n" + _rows));
  }

 private:
  void Add(const std::string& name, const std::string& nominal, const std::string& measured,
           const std::string& deviation, const std::string& standard) {
    _rows += Element("tr", "<td>" + name + "</td>" + Cell(nominal) + Cell(measured) +
                               Cell(deviation) + Cell(standard));
  }

  /// A variance of 0 is one that nobody told.
  template <typename Write>
  static std::string Standard(double measured, double variance, const Write& write) {
    return std::isfinite(measured) && variance > 0.0 ? write(std::sqrt(variance)) : kNothing;
  }

  Numbers _numbers;
  std::string _rows;
};

const char* DirectionName(const std::string& type) {
  if (type == "StudFeature" || type == "ThreadedHoleFeature") return "Axis";
  return type == "EdgeFeature" ? "Normal of the surface" : "Normal";
}

const char* TangentName(const std::string& type) {
  if (type == "PolygonFeature") return "Axis to the first corner";
  return type == "EdgeFeature" ? "Way out across the border" : "Tangent";
}

/// In which directions the place counts, where that is not in all.
std::string PlaceNote(const PlannedFeature& feature) {
  const double directions = feature.MeasuredDirections().trace();  // of a projection: how many
  if (!(directions < 2.5)) return {};
  const std::string across = "Of its place that counts which was measured: ";
  if (directions > 1.5) return across + "the two directions across its axis. ";
  if (directions > 0.5) {
    return across + (feature.type == "EdgeFeature" ? "the way across the border. "
                                                   : "the way along its normal. ");
  }
  return {};
}

std::string Table(const Sheet& sheet, const PlannedFeature& feature, const FeatureResult& result) {
  const FeatureNumbers& m = result.measured;
  Rows rows(sheet.plan.units);
  if (feature.type != "ScanPathFeature") {
    rows.Place(feature.place, m.place, result.spread.place);
    rows.Direction(DirectionName(feature.type), feature.direction, m.direction,
                   result.spread.direction);
    rows.Direction(TangentName(feature.type), feature.tangent, m.tangent, result.spread.tangent);
    rows.Length("Length", feature.length, m.length, result.spread.length);
    rows.Length("Width", feature.width, m.width, result.spread.width);
    rows.Length(feature.type == "PolygonFeature" ? "Radius to a corner" : "Radius", feature.radius,
                m.radius, result.spread.radius);
  }
  if (rows.IsEmpty()) return {};
  const bool is_doubted = !result.is_measured && m.IsMeasured();
  std::string note = PlaceNote(feature) +
                     "In the part's frame; uncertainties are those of the "
                     "feature alone, without that of the alignment.";
  if (is_doubted) note = "These numbers are doubted, and no verdict rests on them. " + note;
  if (const auto off = DeviationOf(feature, result)) {
    note = "It lies " + Numbers(sheet.plan.units).Told(off->norm()) + " off its nominal place. " +
           note;
  }
  return rows.Html(is_doubted) + Element("p class=\"note\"", note);
}

std::string State(const Sheet& sheet, const FeatureResult& result) {
  const bool is_doubted = !result.is_measured && !result.warnings.empty();
  const char* words = result.is_measured ? "Measured"
                      : is_doubted       ? "Not measured: its result is doubted"
                                         : "Not measured";
  std::string html = Element("b", words);
  std::string where;
  if (result.station && *result.station < sheet.plan.stations.size()) {
    where += " from station <b>" + Text(sheet.plan.stations[*result.station].name) + "</b>";
  }
  if (!result.recording.empty()) {
    where += std::string(where.empty() ? " Recording: " : "; recording: ") + "<code>" +
             Text(result.recording) + "</code>";
  }
  html += where;
  if (!result.reason.empty()) html += "<br>" + Text(result.reason);
  std::string items;
  for (const std::string& warning : result.warnings) items += Element("li", Text(warning));
  if (!items.empty()) html += Element("ul", "\n" + items);
  const char* kind = result.is_measured ? "good" : is_doubted ? "doubtful" : "bad";
  return Element("div class=\"verdict " + std::string(kind) + "\"", "\n" + html);
}

std::string Asked(const Sheet& sheet, const std::vector<std::size_t>& asked) {
  constexpr std::size_t kMost = 50;  // the first page has all
  std::string items;
  for (std::size_t i = 0; i < std::min(asked.size(), kMost); ++i) {
    const Verdict verdict = VerdictOf(sheet, asked[i]).verdict;
    const Sign sign = SignOf(verdict);
    items +=
        Element("li", "<span class=\"sign " + std::string(sign.style) + "\" aria-hidden=\"true\">" +
                          sign.mark + "</span> " + Text(sheet.plan.characteristics[asked[i]].name) +
                          ": " + std::string(VerdictName(verdict)));
  }
  if (asked.size() > kMost) {
    items += Element("li", "and " + std::to_string(asked.size() - kMost) + " more");
  }
  if (items.empty()) return Element("p class=\"note\"", "No characteristic asks about it.");
  return Element("ul class=\"asks\"", "\n" + items);
}

}  // namespace

std::string FeatureSection(const Sheet& sheet, std::size_t feature,
                           const std::vector<std::size_t>& asked, const std::string& pictures) {
  const PlannedFeature& planned = sheet.plan.features[feature];
  const FeatureResult& result = ResultOf(sheet, feature);
  std::string html = "<h2 id=\"feature-" + std::to_string(feature + 1) + "\">" +
                     (planned.name.empty() ? "Feature without a name" : Text(planned.name)) +
                     "</h2>\n" + Element("p class=\"note\"", TypeWords(planned.type));
  html += State(sheet, result) + Table(sheet, planned, result) + Asked(sheet, asked);
  if (!pictures.empty()) html += Element("div class=\"pictures\"", "\n" + pictures);
  return Element(
      pictures.empty() ? "section class=\"feature\"" : "section class=\"feature illustrated\"",
      "\n" + html);
}

}  // namespace libmfx::inspection::page
