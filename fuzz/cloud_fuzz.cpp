// Clouds: any bytes as raw samples, through the constructor that every extractor uses and through
// both conversions; and any matrix with any embeddings.

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "byte_source.h"
#include "check.h"
#include "libmfx/data_structures/point_cloud.h"

namespace {

using namespace libmfx::data_structures;

PointEmbedding TakeEmbedding(ByteSource& bytes) {
  return static_cast<PointEmbedding>(bytes.Take<std::uint8_t>() % 3);
}

/// Runs `body`; the only thing that it may throw is the plain string of a conversion, and only when
/// `rows` are too few for the target.
template <typename Body>
void ConvertOrRefuse(Eigen::Index rows, PointEmbedding target, Body body) {
  try {
    body();
  } catch (const std::string& text) {
    FUZZ_CHECK(rows < RowsNeeded(target));
    FUZZ_CHECK(text ==
               "Point cloud is not an appropriate n-space embedding for the conversion type!");
  }
}

void CheckRoundTrip(PointCloud cloud) {
  const Eigen::MatrixXd before = cloud.data();
  cloud.Convert(EMBEDDING_AER);
  cloud.Convert(EMBEDDING_XYZ);
  FUZZ_CHECK(cloud.rows() == before.rows() && cloud.cols() == before.cols());
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    const double largest = before.col(i).head<3>().cwiseAbs().maxCoeff();
    if (!(largest < 1e100) || largest < 1e-100) continue;  // squares leave the range of doubles
    const double moved = (cloud.col(i).head<3>() - before.col(i).head<3>()).cwiseAbs().maxCoeff();
    FUZZ_CHECK(moved <= 16 * std::numeric_limits<double>::epsilon() * largest);
  }
}

void FuzzSamples(ByteSource& bytes) {
  const PointEmbedding target = TakeEmbedding(bytes);
  const bool keep_extra_rows = bytes.Take<std::uint8_t>() % 2 == 1;
  const double min_quality = bytes.Take<double>();
  std::vector<RawDataPoint> samples;
  while (bytes.remaining() > 0) {
    RawDataPoint sample;
    sample.azimuth = bytes.Take<double>();
    sample.elevation = bytes.Take<double>();
    sample.range = bytes.Take<double>();
    sample.quality = bytes.Take<double>();
    sample.status = bytes.Take<std::int32_t>();
    samples.push_back(sample);
  }
  Eigen::Index usable = 0;
  for (const RawDataPoint& sample : samples) usable += IsUsable(sample, min_quality) ? 1 : 0;

  const PointCloud cloud(samples, target, min_quality, keep_extra_rows);
  FUZZ_CHECK(cloud.cols() == usable);
  FUZZ_CHECK(cloud.rows() == (keep_extra_rows ? 5 : 3));
  FUZZ_CHECK(cloud.data().allFinite());
  if (target == EMBEDDING_XYZ) CheckRoundTrip(cloud);
}

void FuzzMatrix(ByteSource& bytes) {
  const auto rows = static_cast<Eigen::Index>(bytes.Take<std::uint8_t>() % 8);
  const PointEmbedding target = TakeEmbedding(bytes);
  PointCloud::Embeddings embeddings;
  for (int i = bytes.Take<std::uint8_t>() % 4; i > 0; --i) {
    embeddings[TakeEmbedding(bytes)].insert(bytes.Take<std::int8_t>());
  }
  std::set<PointEmbedding> sources;
  for (int i = bytes.Take<std::uint8_t>() % 3; i > 0; --i) sources.insert(TakeEmbedding(bytes));
  const Eigen::Index cols =
      rows == 0 ? 0 : static_cast<Eigen::Index>(bytes.remaining() / sizeof(double)) / rows;
  Eigen::MatrixXd data(rows, cols);
  for (Eigen::Index i = 0; i < data.size(); ++i) data.data()[i] = bytes.Take<double>();

  PointCloud cloud(std::move(data), embeddings);
  ConvertOrRefuse(rows, target, [&] { cloud.Convert(sources, target); });
  FUZZ_CHECK(cloud.rows() == rows && cloud.cols() == cols);
  for (const auto& [kind, offsets] : cloud.embeddings()) {
    for (const int offset : offsets) {
      FUZZ_CHECK(offset >= 0 && offset + RowsNeeded(kind) <= rows);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteSource bytes(data, size);
  bytes.Take<std::uint8_t>() % 2 == 0 ? FuzzSamples(bytes) : FuzzMatrix(bytes);
  return 0;
}
