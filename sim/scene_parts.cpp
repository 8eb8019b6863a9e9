#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include "sim/mesh/mesh_part.h"
#include "sim/mesh/part_file.h"
#include "sim/number_text.h"
#include "sim/parts/parts.h"
#include "sim/portable_math.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

using parts::PartPtr;

PartPtr ReadPlane(SceneSection& s) {
  parts::PlaneSpec spec;
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  return parts::MakePlane(spec);
}

double ReadCornerRadius(SceneSection& s, double largest) {
  const double radius = s.LengthOrZero("corner_radius", 0.0);
  if (radius > largest) s.Refuse("corner_radius", "does not fit into the outline");
  return radius;
}

parts::OpeningPlateSpec ReadOutline(SceneSection& s) {
  const std::string shape = s.Choice("shape", {"round", "rectangle", "polygon", "obround"});
  if (shape == "round") return parts::RoundOpening(s.Length("radius"));
  if (shape == "polygon") {
    const int sides = static_cast<int>(s.Integer("sides", 3, 64));
    const double radius = s.Length("radius");
    const double inner = radius * portable::SinCos(kPi / sides).cosine;
    return parts::PolygonalOpening(sides, radius, ReadCornerRadius(s, 0.999 * inner));
  }
  const double length = s.Length("length");
  const double width = s.Length("width");
  if (shape == "obround") {
    if (length < width) s.Refuse("length", "of an obround is below its width");
    return parts::ObroundOpening(length, width);
  }
  const double corner = ReadCornerRadius(s, 0.5 * std::min(length, width));
  return parts::RectangularOpening(length, width, corner);
}

/// "burr": what stands around an opening.
parts::BurrSpec ReadBurr(SceneSection& s, double edge_radius) {
  parts::BurrSpec burr;
  if (!s.Tells("burr")) return burr;
  if (edge_radius > 0.0) s.Refuse("burr", "stands on an edge that is rounded");
  SceneSection own = s.Child("burr");
  burr.height = own.Number("height", 1e-6, 0.01);
  burr.width = own.Number("width", 1e-6, 0.01, burr.height);
  burr.patches = static_cast<int>(own.Integer("patches", 1, 1000, burr.patches));
  burr.share = own.Number("share", 0.01, 1.0, burr.share);
  own.Finish();
  return burr;
}

PartPtr ReadPlate(SceneSection& s) {
  SceneSection opening = s.Child("opening");
  parts::OpeningPlateSpec spec = ReadOutline(opening);
  spec.thickness = s.Length("thickness", spec.thickness);
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  spec.border_radius = s.LengthOrZero("border_radius", 0.0);
  const double shorter = 0.5 * std::min(spec.length, spec.width);
  if (spec.border_radius > shorter) s.Refuse("border_radius", "does not fit into the plate");

  spec.depth = opening.LengthOrZero("depth", 0.0);
  if (spec.depth >= spec.thickness) opening.Refuse("depth", "reaches through the plate");
  spec.chamfer_depth = opening.LengthOrZero("chamfer_depth", 0.0);
  spec.chamfer_angle = opening.Degrees("chamfer_angle_deg", 1.0, 85.0, spec.chamfer_angle);
  const double wall = spec.depth > 0.0 ? spec.depth : spec.thickness;
  if (spec.chamfer_depth >= wall) opening.Refuse("chamfer_depth", "leaves no wall");
  spec.edge_radius = opening.LengthOrZero("edge_radius", 0.0);
  if (spec.edge_radius > 0.0 && spec.chamfer_depth > 0.0) {
    opening.Refuse("edge_radius", "stands beside a chamfer");
  }
  if (spec.edge_radius >= wall) opening.Refuse("edge_radius", "leaves no wall");
  spec.burr = ReadBurr(opening, spec.edge_radius);
  const auto [sine, cosine] = portable::SinCos(spec.chamfer_angle);
  const double wider = spec.edge_radius + spec.burr.width + spec.chamfer_depth * sine / cosine;
  const Vec2 extent = spec.opening.HalfExtent().array() + wider;
  if (2.0 * extent.x() >= spec.length || 2.0 * extent.y() >= spec.width) {
    s.Refuse("opening", "is wider than the plate of " + NumberText(spec.length) + " m by " +
                            NumberText(spec.width) + " m");
  }
  opening.Finish();
  return parts::MakeOpeningPlate(std::move(spec));
}

PartPtr ReadBall(SceneSection& s) {
  parts::BallSpec spec;
  spec.radius = s.Length("radius", spec.radius);
  spec.stem_radius = s.LengthOrZero("stem_radius", 0.3 * spec.radius);
  if (spec.stem_radius >= spec.radius) s.Refuse("stem_radius", "is not below the ball's radius");
  spec.stem_length = s.Length("stem_length", 4.0 * spec.radius);
  if (spec.stem_length <= spec.radius) s.Refuse("stem_length", "ends inside the ball");
  return parts::MakeBall(spec);
}

PartPtr ReadEdge(SceneSection& s) {
  parts::EdgeSpec spec;
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  spec.thickness = s.Length("thickness", spec.thickness);
  spec.ledge = s.LengthOrZero("ledge", 0.0);
  spec.wall_angle = s.Degrees("wall_angle_deg", -60.0, 85.0, 0.0);
  spec.fillet = s.LengthOrZero("fillet", 0.0);
  spec.chamfer = s.LengthOrZero("chamfer", 0.0);
  if (spec.fillet > 0.0 && spec.chamfer > 0.0) s.Refuse("chamfer", "stands beside a fillet");
  // The fillet's tangent length along front and wall: radius / tan(inner angle / 2).
  const auto half = portable::SinCos(0.25 * kPi + 0.5 * spec.wall_angle);
  const double cut = spec.fillet > 0.0 ? spec.fillet * half.cosine / half.sine : spec.chamfer;
  const double depth = spec.ledge > 0.0 ? spec.ledge : spec.thickness;
  const double wall = depth / portable::SinCos(spec.wall_angle).cosine;
  if (cut >= spec.width || cut >= wall) {
    s.Refuse(spec.fillet > 0.0 ? "fillet" : "chamfer", "leaves no front or no wall");
  }
  return parts::MakeEdge(spec);
}

Thread MetricThread(SceneSection& s, const char* key) {
  const auto thread = Thread::Metric(s.Text(key));
  if (!thread) s.Refuse(key, "is not a coarse metric thread from \"M4\" to \"M24\"");
  return *thread;
}

/// "thread": the name of a coarse metric thread, or an object with this name or with its major
/// diameter and pitch, and with what is unusual about it.
std::optional<Thread> ReadThread(SceneSection& s, WallKind kind) {
  if (!s.Has("thread")) return std::nullopt;
  if (!s.At("thread").is_object()) return MetricThread(s, "thread");
  SceneSection own = s.Child("thread");
  Thread thread;
  if (own.Has("name")) {
    thread = MetricThread(own, "name");
  } else {
    thread.major_radius = 0.5 * own.Length("major_diameter");
    thread.pitch = own.Length("pitch");
    if (thread.pitch > 0.5 * thread.major_radius) {
      own.Refuse("pitch", "is above a quarter of the diameter");
    }
  }
  thread.depth = own.Number("depth", 0.2, 1.05, thread.depth);
  thread.flank_angle = own.Degrees("flank_angle_deg", 20.0, 90.0, thread.flank_angle);
  thread.left_handed = own.Flag("left_handed", thread.left_handed);
  // A steep and coarse thread would cut a stud through. None that has a name is as coarse.
  if (thread.Depth() > 0.7 * thread.major_radius) {
    own.Refuse("pitch", "cuts the thread " + NumberText(thread.Depth()) +
                            " m deep, to less than 0.3 of its major radius");
  }
  thread.starts = static_cast<int>(own.Integer("starts", 1, 8, thread.starts));
  if (thread.Lead() > 2.0 * thread.major_radius) {
    own.Refuse("starts", "makes a turn climb more than the diameter");
  }
  thread.run_out = own.LengthOrZero("run_out", thread.run_out);
  thread.crest_radius = own.LengthOrZero("crest_radius", thread.crest_radius);
  if (thread.crest_radius > 0.0) {
    const double low = thread.SmallestCrestRadius(kind);
    const double high = thread.LargestCrestRadius(kind);
    if (thread.crest_radius < low || thread.crest_radius > high) {
      own.Refuse("crest_radius",
                 "is not between " + NumberText(low) + " and " + NumberText(high) +
                     ", which leave nothing of the flat and something of the flanks");
    }
  }
  own.Finish();
  return thread;
}

/// Rays step from turn to turn of a thread, so their number is kept to what screws have.
void CheckTurns(SceneSection& s, const char* key, double length, const Thread& thread) {
  constexpr double kMostTurns = 1000.0;
  if (length > kMostTurns * thread.pitch) {
    s.Refuse(key, "gives the thread more than 1000 turns");
  }
  if (thread.run_out >= length) s.Refuse(key, "is no more than the thread's run-out");
}

constexpr double kMostForm = 0.05;  // of the radius

/// One error of form, of either sign.
double ReadFormError(SceneSection& form, const char* key, double radius) {
  const double error = form.Number(key, -1000.0, 1000.0, 0.0);
  if (std::fabs(error) > kMostForm * radius) {
    form.Refuse(key, "is more than 5 % of the radius of " + NumberText(radius) + " m");
  }
  return error;
}

/// "form": how the wall of a stud or a bore differs from a round and straight one.
/// \param radius of the wall, of a thread its major radius
WallForm ReadForm(SceneSection& s, double radius) {
  WallForm form;
  if (!s.Tells("form")) return form;
  SceneSection own = s.Child("form");
  double waves = 0.0;
  if (own.Tells("lobes")) {
    for (SceneSection& some : own.Children("lobes", 16)) {
      WallForm::Lobes lobes;
      lobes.count = static_cast<int>(some.Integer("count", 2, 100));
      lobes.amplitude = some.Number("amplitude", 0.0, 1000.0);
      lobes.crest = some.Degrees("crest_deg", -360.0, 360.0, 0.0);
      some.Finish();
      waves += lobes.amplitude;
      form.lobes.push_back(lobes);
    }
  }
  if (waves > kMostForm * radius) {
    own.Refuse("lobes", "has amplitudes that add up to " + NumberText(waves) +
                            ", more than 5 % of the radius of " + NumberText(radius) + " m");
  }
  form.taper = ReadFormError(own, "taper", radius);
  form.barrel = ReadFormError(own, "barrel", radius);
  form.bend = ReadFormError(own, "bend", radius);
  form.bend_direction = own.Degrees("bend_deg", -360.0, 360.0, 0.0);
  own.Finish();
  return form;
}

PartPtr ReadStud(SceneSection& s) {
  parts::StudSpec spec;
  spec.thread = ReadThread(s, WallKind::kStud);
  if (!spec.thread) spec.radius = s.Length("radius");
  spec.form = ReadForm(s, spec.thread ? spec.thread->major_radius : spec.radius);
  const double body = spec.thread ? spec.thread->MinorRadius() : spec.radius;
  spec.height = s.Length("height", 5.0 * body);
  spec.lead = s.LengthOrZero("lead", 0.1 * body);
  if (spec.lead >= body) s.Refuse("lead", "leaves no end of the stud");
  // A thread's lead reaches from the minor radius less the lead to the major radius.
  const double lead_height = spec.lead + (spec.thread ? spec.thread->Depth() : 0.0);
  if (lead_height >= spec.height) s.Refuse("height", "is no more than the lead");
  if (spec.thread) CheckTurns(s, "height", spec.height, *spec.thread);
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  return parts::MakeStud(spec);
}

PartPtr ReadBore(SceneSection& s) {
  parts::BoreSpec spec;
  spec.thread = ReadThread(s, WallKind::kBore);
  if (!spec.thread) spec.radius = s.Length("radius");
  const double body = spec.thread ? spec.thread->major_radius : spec.radius;
  spec.form = ReadForm(s, body);
  spec.depth = s.Length("depth", 4.0 * body);
  spec.through = s.Flag("through", false);
  spec.edge_radius = s.LengthOrZero("edge_radius", 0.0);
  spec.lead = s.LengthOrZero("lead", spec.edge_radius > 0.0 ? 0.0 : 0.05 * body);
  if (spec.edge_radius > 0.0 && spec.lead > 0.0) s.Refuse("edge_radius", "stands beside a lead");
  if (spec.edge_radius > 0.0 && (spec.thread || !spec.form.IsIdeal())) {
    s.Refuse("edge_radius", "needs a smooth wall without errors of form");
  }
  if (spec.edge_radius >= spec.depth) s.Refuse("depth", "is no more than the edge's radius");
  spec.burr = ReadBurr(s, spec.edge_radius);
  if (!spec.burr.IsOff() && !spec.form.IsIdeal()) {
    s.Refuse("burr", "stands around a mouth with errors of form");
  }
  const double lead_depth = spec.lead + (spec.thread ? spec.thread->Depth() : 0.0);
  if (lead_depth >= spec.depth) s.Refuse("depth", "is no more than the lead");
  if (spec.thread) CheckTurns(s, "depth", spec.depth, *spec.thread);
  spec.length = s.Length("length", spec.length);
  spec.width = s.Length("width", spec.width);
  // No errors of form reach farther together.
  const double form = spec.form.IsIdeal() ? 0.0 : 3.0 * kMostForm * body;
  const double wider = spec.lead + spec.edge_radius + spec.burr.width + form;
  if (2.0 * (body + wider) >= std::min(spec.length, spec.width)) {
    s.Refuse(spec.thread ? "thread" : "radius", "makes the mouth wider than the plate");
  }
  return parts::MakeBore(spec);
}

/// A file of triangles; its own frame, in metres, is the part's frame.
PartPtr ReadMesh(SceneSection& s, const std::filesystem::path& folder,
                 std::vector<std::filesystem::path>& files) {
  const std::filesystem::path name = s.Text("file");
  const std::string unit = s.Choice("unit", {"m", "mm", "cm", "um", "inch"});
  const double metres = unit == "m"    ? 1.0
                        : unit == "mm" ? 1e-3
                        : unit == "cm" ? 1e-2
                        : unit == "um" ? 1e-6
                                       : 0.0254;
  const bool may_be_open = s.Flag("open", false);
  files.push_back(name.is_absolute() ? name : folder / name);
  TriangleMesh mesh;
  try {
    mesh = ReadPartFile(files.back(), metres);
  } catch (const PartFileError& e) {
    s.Refuse("file", e.what());
  }
  if (const auto open = FindOpenEdges(mesh); open && !may_be_open) {
    s.Refuse("file", "is an open mesh: " + std::to_string(open->count) +
                         " edges have a triangle on one side only, one near " +
                         PointText(open->example) + " m (\"open\": true takes it as it is)");
  }
  auto part = std::make_shared<MeshPart>(mesh);
  if (part->Reach() > 1000.0) s.Refuse("unit", "makes the part larger than 1000 m");
  return part;
}

}  // namespace

std::shared_ptr<const Part> ReadPart(SceneSection section, const std::filesystem::path& folder,
                                     std::vector<std::filesystem::path>& files, PartOf owner) {
  using Reader = PartPtr (*)(SceneSection&);
  static const std::map<std::string, Reader, std::less<>> readers = {
      {"plane", ReadPlane}, {"plate", ReadPlate}, {"ball", ReadBall},
      {"edge", ReadEdge},   {"stud", ReadStud},   {"bore", ReadBore}};
  const std::string type = section.Text("type");
  const bool is_assembly = type == "assembly";
  if (is_assembly && owner == PartOf::kAssembly) {
    section.Refuse("type", "is no part for a member of an assembly");
  }
  const auto found = readers.find(type);
  if (found == readers.end() && type != "mesh" && !is_assembly) {
    std::string listed = "mesh";
    for (const auto& [name, reader] : readers) listed += ", " + name;
    if (owner == PartOf::kScene) listed += ", assembly";
    section.Refuse("type", "is not a known part (known: " + listed + ")");
  }
  auto part = is_assembly              ? ReadAssembly(section, folder, files)
              : found == readers.end() ? ReadMesh(section, folder, files)
                                       : found->second(section);
  section.Finish();
  return part;
}

}  // namespace libmfx::sim
