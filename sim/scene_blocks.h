#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "sim/scene_section.h"

/// \file
/// The blocks of a scene file, each read by one function. All throw SceneError.

namespace libmfx::sim {

/// "part": a built-in part, or a mesh file that is looked for in `folder`.
/// \param[out] files takes the part files that it read
std::shared_ptr<const Part> ReadPart(SceneSection section, const std::filesystem::path& folder,
                                     std::vector<std::filesystem::path>& files);

/// "pose": where the part stands.
Pose ReadPose(SceneSection section);

/// "noise": false, true or an object.
Noise ReadNoise(SceneSection& scene);

}  // namespace libmfx::sim
