#include <algorithm>
#include <cmath>
#include <vector>

#include "sim/faces/face_part.h"
#include "sim/faces/formed_wall.h"
#include "sim/faces/outline_wall.h"
#include "sim/faces/planar_face.h"
#include "sim/faces/rounded_rim.h"
#include "sim/faces/thread_face.h"
#include "sim/parts/parts.h"

namespace libmfx::sim::parts {

namespace {

using Faces = std::vector<std::unique_ptr<Face>>;

void TellRadii(double radius, const std::optional<Thread>& thread, WallKind kind, Truth& truth) {
  if (!thread) {
    truth.values["radius"] = radius;
    return;
  }
  const ThreadProfile profile(*thread, kind);
  const bool outwards = kind == WallKind::kStud;
  truth.values["major_radius"] = outwards ? profile.CrestRadius() : thread->major_radius;
  truth.values["pitch_radius"] = profile.PitchRadius();
  truth.values["minor_radius"] = outwards ? thread->MinorRadius() : profile.CrestRadius();
  truth.values["pitch"] = thread->pitch;
  if (thread->left_handed) truth.flags["left_handed"] = true;
  if (thread->starts > 1) truth.values["starts"] = thread->starts;
}

/// Height of the lead, with what it cuts of a thread's crests.
double LeadHeight(double lead, const std::optional<Thread>& thread) {
  return lead + (thread ? thread->Depth() : 0.0);
}

void AddIdealStud(const StudSpec& spec, double end_radius, Faces& faces) {
  faces.push_back(std::make_unique<PlanarFace>(spec.height, Outline::Circle(end_radius)));
  if (spec.thread) {
    faces.push_back(
        std::make_unique<ThreadFace>(*spec.thread, WallKind::kStud, 0.0, spec.height, end_radius));
    return;
  }
  const double shoulder = spec.height - spec.lead;
  faces.push_back(std::make_unique<OutlineWall>(Outline::Circle(spec.radius), 0.0, shoulder));
  if (spec.lead > 0.0) {
    faces.push_back(
        std::make_unique<OutlineWall>(Outline::Circle(end_radius), shoulder, spec.height, -1.0));
  }
}

void AddFormedStud(const StudSpec& spec, double end_radius, Faces& faces) {
  FormedWallSpec wall{WallKind::kStud, spec.radius, spec.thread, 0.0, spec.height, {}};
  if (spec.thread || spec.lead > 0.0) wall.cone_radius = end_radius;
  const double shoulder = spec.height - LeadHeight(spec.lead, spec.thread);
  const FormedWall face(wall, WallShape(spec.form, 0.0, shoulder));
  // The end first: what it hides of the wall need not be looked for.
  faces.push_back(std::make_unique<FormedEnd>(face, spec.height));
  faces.push_back(std::make_unique<FormedWall>(face));
}

void AddIdealBore(const BoreSpec& spec, const Outline& plate, const Outline& mouth, Faces& faces) {
  faces.push_back(std::make_unique<PlanarFace>(0.0, plate, mouth));
  if (spec.thread) {
    faces.push_back(std::make_unique<ThreadFace>(*spec.thread, WallKind::kBore, -spec.depth, 0.0,
                                                 mouth.rounding()));
  } else {
    if (spec.lead > 0.0) {
      faces.push_back(std::make_unique<OutlineWall>(mouth, -spec.lead, 0.0, 1.0));
    }
    const Outline wall = Outline::Circle(spec.radius);
    if (spec.edge_radius > 0.0) {
      faces.push_back(std::make_unique<RoundedRim>(wall, spec.edge_radius));
    }
    const double cut = std::max(spec.lead, spec.edge_radius);
    faces.push_back(std::make_unique<OutlineWall>(wall, -spec.depth, -cut));
  }
  if (!spec.through) faces.push_back(std::make_unique<PlanarFace>(-spec.depth, mouth));
}

void AddFormedBore(const BoreSpec& spec, const Outline& plate, const Outline& mouth, Faces& faces) {
  FormedWallSpec wall{WallKind::kBore, spec.radius, spec.thread, -spec.depth, 0.0, {}};
  if (spec.thread || spec.lead > 0.0) wall.cone_radius = mouth.rounding();
  const double shoulder = -LeadHeight(spec.lead, spec.thread);
  const FormedWall face(wall, WallShape(spec.form, -spec.depth, shoulder));
  faces.push_back(std::make_unique<FormedEnd>(face, 0.0, plate));
  if (!spec.through) faces.push_back(std::make_unique<FormedEnd>(face, -spec.depth));
  faces.push_back(std::make_unique<FormedWall>(face));
}

}  // namespace

PartPtr MakeStud(const StudSpec& spec) {
  const Outline plate = Outline::Rectangle(spec.length, spec.width);
  const double body = spec.thread ? spec.thread->MinorRadius() : spec.radius;
  const double end_radius = body - spec.lead;
  Faces faces;
  faces.push_back(std::make_unique<PlanarFace>(0.0, plate));
  (spec.form.IsIdeal() ? AddIdealStud : AddFormedStud)(spec, end_radius, faces);
  Truth truth;
  truth.points["center"] = Vec3::Zero();
  truth.directions["axis"] = Vec3::UnitZ();
  truth.values["height"] = spec.height;
  TellRadii(spec.radius, spec.thread, WallKind::kStud, truth);
  const double reach = std::max(plate.Reach(), spec.height + 2.0 * spec.radius) +
                       (spec.thread ? 2.0 * spec.thread->major_radius : 0.0);
  return std::make_shared<FacePart>(std::move(faces), reach, std::move(truth));
}

PartPtr MakeBore(const BoreSpec& spec) {
  const Outline plate = Outline::Rectangle(spec.length, spec.width);
  const double body = spec.thread ? spec.thread->major_radius : spec.radius;
  const Outline mouth = Outline::Circle(body + std::max(spec.lead, spec.edge_radius));
  Faces faces;
  (spec.form.IsIdeal() ? AddIdealBore : AddFormedBore)(spec, plate, mouth, faces);
  AddBurr(spec.burr, mouth, faces);

  Truth truth;
  truth.points["center"] = Vec3::Zero();
  truth.directions["normal"] = Vec3::UnitZ();
  truth.directions["axis"] = -Vec3::UnitZ();
  truth.values["depth"] = spec.depth;
  truth.values["mouth_radius"] = mouth.rounding();
  TellRadii(spec.radius, spec.thread, WallKind::kBore, truth);
  const double reach = plate.Reach() + spec.depth + spec.burr.height;
  return std::make_shared<FacePart>(std::move(faces), reach, std::move(truth));
}

}  // namespace libmfx::sim::parts
