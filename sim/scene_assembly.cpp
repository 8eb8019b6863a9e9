#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sim/parts/assembly.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

constexpr std::size_t kMostMembers = 200;  // each ray looks at each

}  // namespace

std::shared_ptr<const Part> ReadAssembly(SceneSection& section, const std::filesystem::path& folder,
                                         std::vector<std::filesystem::path>& files) {
  std::vector<Assembly::Member> members;
  std::set<std::string> names;
  for (SceneSection& s : section.Children("parts", kMostMembers)) {
    Assembly::Member member;
    member.name = s.Text("name");
    if (member.name.empty()) s.Refuse("name", "is empty");
    if (!names.insert(member.name).second) s.Refuse("name", "is the name of another member");
    member.pose = ReadPoseKeys(s, Vec3::UnitZ(), Vec3::UnitX());
    member.part = ReadPart(s.Child("part"), folder, files, PartOf::kAssembly);
    s.Finish();
    members.push_back(std::move(member));
  }
  if (members.empty()) section.Refuse("parts", "has no members");
  return std::make_shared<Assembly>(members);
}

}  // namespace libmfx::sim
