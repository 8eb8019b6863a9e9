#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "sim/scene_section.h"

/// \file
/// The blocks of a scene file, each read by one function. All throw SceneError.

namespace libmfx::sim {

/// Whose "part" is read.
enum class PartOf {
  kScene,
  kAssembly  ///< of one of its members, which is no assembly itself
};

/// "part": a built-in part, a mesh file that is looked for in `folder`, or an assembly of such.
/// \param[out] files takes the part files that it read
std::shared_ptr<const Part> ReadPart(SceneSection section, const std::filesystem::path& folder,
                                     std::vector<std::filesystem::path>& files,
                                     PartOf owner = PartOf::kScene);

/// What an assembly is made of. The type is read already.
std::shared_ptr<const Part> ReadAssembly(SceneSection& section, const std::filesystem::path& folder,
                                         std::vector<std::filesystem::path>& files);

/// "relief": the part with surfaces that are off their nominal shape.
std::shared_ptr<const Part> ReadRelief(SceneSection& scene, std::shared_ptr<const Part> part);

/// A vector that has a direction, of length 1.
Vec3 ReadDirection(SceneSection& section, const char* key);

/// "pose": where the part stands.
Pose ReadPose(SceneSection section);

/// The keys of a pose among others: "position", and "rotation" or "normal" and "tangent".
/// \param normal,tangent unit, of a pose that does not tell them; zero as Pose::Facing takes it. A
///        tangent along the normal counts as zero.
Pose ReadPoseKeys(SceneSection& section, const Vec3& normal, const Vec3& tangent);

/// "noise": false, true or an object.
Noise ReadNoise(SceneSection& scene);

/// "instrument": its pace, and how it errs beside the noise.
InstrumentErrors ReadInstrument(SceneSection section);

/// "obstacles": what stands in the way, in the part's frame.
Obstacles ReadObstacles(SceneSection& scene);

/// "surface": what the surfaces are like; nothing if they are matte and clean.
std::shared_ptr<const Surface> ReadSurface(SceneSection section);

}  // namespace libmfx::sim
