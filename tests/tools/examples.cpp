#include "examples.h"

#include <fstream>
#include <regex>

namespace mfx_test {

json ReadJson(const std::string& path) {
  std::ifstream file(path);
  return json::parse(file, nullptr, true, true);
}

Example::Example(const std::string& name)
    : request(ReadJson(Source("examples/requests/" + name + ".json"))),
      scene(ReadJson(Source("examples/scenes/" + name + ".json"))) {}

Reported Example::Report(const Folder& folder, const std::vector<std::string>& more) const {
  std::vector<std::string> arguments = {"measure",  folder.Write("request.json", request.dump()),
                                        "--scene",  folder.Write("scene.json", scene.dump()),
                                        "--report", folder.Path("r.html")};
  arguments.insert(arguments.end(), more.begin(), more.end());
  Reported reported{RunMfx(arguments), {}};
  reported.html = folder.Read("r.html");
  return reported;
}

Reported Example::Report(const std::vector<std::string>& more) const {
  return Report(Folder(), more);
}

std::string WithoutTime(const std::string& recording) {
  return std::regex_replace(recording, std::regex(R"re("time":"[0-9TZ:-]{20}",)re"), "");
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

double NumberBefore(const std::string& html, const std::string& words) {
  std::smatch match;
  const std::regex pattern("([0-9.]+) " + words);
  return std::regex_search(html, match, pattern) ? std::stod(match[1]) : -1.0;
}

}  // namespace mfx_test
