#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "inspection/writers.h"
#include "inspection/written.h"

namespace libmfx::inspection {
namespace {

using Colour = std::array<std::uint8_t, 3>;

/// Colours that are told apart by eyes that tell no red from green.
Colour ColourOf(std::optional<Verdict> verdict) {
  if (!verdict) return {86, 180, 233};  // sky blue: nothing was asked about it
  switch (*verdict) {
    case Verdict::kConforms:
      return {0, 158, 115};  // green
    case Verdict::kDoesNotConform:
      return {213, 94, 0};  // vermilion
    case Verdict::kUndecided:
      return {240, 228, 66};  // yellow
    case Verdict::kNotMeasured:
      break;
  }
  return {128, 128, 128};
}

/// Lowest byte first, whatever the machine's order is.
template <typename Unsigned>
void AppendBytes(std::string& bytes, Unsigned value) {
  static_assert(std::is_unsigned_v<Unsigned>);
  for (std::size_t i = 0; i < sizeof(Unsigned); ++i) {
    bytes += static_cast<char>(static_cast<unsigned char>((value >> (8 * i)) & 0xFFu));
  }
}

/// The vertices of a file.
class Vertices {
 public:
  /// One that is not finite is left out.
  void Add(const Vector3d& point, const Colour& colour, std::size_t feature) {
    if (!point.allFinite()) return;
    ++_count;
    for (const double x : point) AppendBytes(_bytes, std::bit_cast<std::uint64_t>(RoundedTo(x, 9)));
    for (const std::uint8_t part : colour) AppendBytes(_bytes, part);
    AppendBytes(_bytes, static_cast<std::uint32_t>(feature));
  }

  std::string File() const {
    return "ply\n"
           "format binary_little_endian 1.0\n"
           "comment coordinates of the part's frame, metres\n"
           "comment feature: its index in the plan, from 0\n"
           "comment green: conforms, vermilion: does not conform, yellow: cannot be decided\n"
           "comment grey: not measured, sky blue: nothing was asked about the feature\n"
           "comment the places that were measured come after the samples\n"
           "element vertex " +
           std::to_string(_count) +
           "\n"
           "property double x\n"
           "property double y\n"
           "property double z\n"
           "property uchar red\n"
           "property uchar green\n"
           "property uchar blue\n"
           "property int feature\n"
           "end_header\n" +
           _bytes;
  }

 private:
  std::string _bytes;
  std::size_t _count = 0;
};

}  // namespace

std::string PointsPly(const Sheet& sheet) {
  const std::vector<std::optional<Verdict>> verdicts = FeatureVerdicts(sheet, ToldResults(sheet));
  Vertices vertices;
  for (std::size_t i = 0; i < verdicts.size(); ++i) {
    const FeatureResult* feature = MeasuredFeature(sheet, i);
    if (!feature) continue;
    for (const Vector3d& point : feature->points) vertices.Add(point, ColourOf(verdicts[i]), i);
  }
  for (std::size_t i = 0; i < verdicts.size(); ++i) {
    const FeatureResult* feature = MeasuredFeature(sheet, i);
    if (feature) vertices.Add(feature->measured.place, ColourOf(verdicts[i]), i);
  }
  return vertices.File();
}

}  // namespace libmfx::inspection
