// A seeded scan is the same scan everywhere: its bytes were written down once, and every compiler,
// optimisation and processor has to come to them again.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "sim/mesh/mesh_part.h"
#include "sim/mesh/mesh_shapes.h"
#include "sim/parts/assembly.h"
#include "sim/portable_math.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using data_structures::RawDataPoint;

/// FNV-1a over the numbers of the samples.
std::uint64_t Fingerprint(const std::vector<RawDataPoint>& samples) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  for (const RawDataPoint& s : samples) {
    unsigned char bytes[36];
    std::memcpy(bytes, &s, sizeof bytes);
    for (const unsigned char byte : bytes) hash = (hash ^ byte) * 0x100000001b3ULL;
  }
  return hash;
}

/// A drive point at `p`, from functions that are the same everywhere.
data_structures::Position DrivePoint(const Vec3& p, double spacing) {
  const double horizontal = std::sqrt(p.x() * p.x() + p.z() * p.z());
  return {-portable::Atan2(p.x(), p.z()), portable::Atan2(p.y(), horizontal), p.norm(), spacing};
}

std::uint64_t ScanOf(std::shared_ptr<const Part> part, double half_width) {
  const Pose pose = TiltedPose({0.7, -0.4, 2.3}, 0.4, 0.3);
  Scene scene = MakeScene(std::move(part), pose, 0.1);
  scene.noise.stray = 0.01;
  std::vector<data_structures::Position> path;
  for (int line = -4; line <= 4; ++line) {
    const double y = 0.2 * line * half_width;
    path.push_back(DrivePoint(pose.Point({-half_width, y, 0}), 0.0));
    path.push_back(DrivePoint(pose.Point({half_width, y, 0}), half_width / 50.0));
  }
  const auto samples = Instrument(scene, 2024).Drive(path);
  EXPECT_GT(samples.size(), 500U);
  return Fingerprint(samples);
}

TEST(SameBytes, PlateWithAChamferedHole) {
  parts::OpeningPlateSpec spec = parts::RoundOpening(0.005);
  spec.chamfer_depth = 0.001;
  EXPECT_EQ(ScanOf(parts::MakeOpeningPlate(spec), 0.01), 16073270675410510307ULL);
}

TEST(SameBytes, RoundedTriangle) {
  const auto part = parts::MakeOpeningPlate(parts::PolygonalOpening(3, 0.008, 0.001));
  EXPECT_EQ(ScanOf(part, 0.01), 8371788330638512186ULL);
}

TEST(SameBytes, AssemblyOfAPlateAndABall) {
  const auto plate = parts::MakeOpeningPlate(parts::RoundOpening(0.005));
  const Pose ahead = Pose::Facing(Vec3::Zero(), Vec3::UnitZ(), Vec3::UnitX());
  const Pose aside = Pose::Facing({0.006, -0.002, 0.01}, {0.3, 0.2, 1.0}, Vec3::UnitX());
  const std::vector<Assembly::Member> members = {{"H1", plate, ahead},
                                                 {"B1", parts::MakeBall({0.003}), aside}};
  EXPECT_EQ(ScanOf(std::make_shared<Assembly>(members), 0.01), 18409739781535912884ULL);
}

TEST(SameBytes, Ball) { EXPECT_EQ(ScanOf(parts::MakeBall({}), 0.016), 6147427341766488227ULL); }

TEST(SameBytes, ThreadedBore) {
  parts::BoreSpec spec;
  spec.thread = Thread::Metric("M8");
  EXPECT_EQ(ScanOf(parts::MakeBore(spec), 0.005), 2816058656706747253ULL);
}

TEST(SameBytes, ThreadedStud) {
  parts::StudSpec spec;
  spec.thread = Thread::Metric("M10");
  EXPECT_EQ(ScanOf(parts::MakeStud(spec), 0.01), 2304776376779512695ULL);
}

TEST(SameBytes, SmoothStudAndBore) {
  EXPECT_EQ(ScanOf(parts::MakeStud({}), 0.01), 2916593239048521998ULL);
  EXPECT_EQ(ScanOf(parts::MakeBore({}), 0.005), 18092433873750924221ULL);
}

TEST(SameBytes, ShallowLeftHandedStud) {
  parts::StudSpec spec;
  spec.thread = Thread::Metric("M10");
  spec.thread->depth = 0.7;
  spec.thread->flank_angle = 40.0 * kPi / 180.0;
  spec.thread->left_handed = true;
  EXPECT_EQ(ScanOf(parts::MakeStud(spec), 0.01), 11023824170066353319ULL);
}

TEST(SameBytes, WallsWithErrorsOfForm) {
  parts::BoreSpec bore;
  bore.form.lobes = {{3, 0.00004, 0.3}, {7, 0.00001, 1.0}};
  bore.form.bend = 0.00005;
  EXPECT_EQ(ScanOf(parts::MakeBore(bore), 0.005), 1417652508511703248ULL);
  parts::StudSpec stud;
  stud.thread = Thread::Metric("M10");
  stud.form.taper = 0.0001;
  stud.form.barrel = 0.00002;
  EXPECT_EQ(ScanOf(parts::MakeStud(stud), 0.01), 14461958355384643380ULL);
}

TEST(SameBytes, EdgeWithAFillet) {
  parts::EdgeSpec spec;
  spec.fillet = 0.001;
  EXPECT_EQ(ScanOf(parts::MakeEdge(spec), 0.01), 18109382099305746015ULL);
}

TEST(SameBytes, Mesh) {
  const auto part = std::make_shared<MeshPart>(mesh_shapes::WavyBlock(0.1, 0.004, 60));
  EXPECT_EQ(ScanOf(part, 0.04), 11892356031966767109ULL);
}

}  // namespace
}  // namespace libmfx::sim
