#include <fstream>

#include "features/shared/result_keys.h"
#include "features/shared/trace.h"
#include "libmfx/features/edge.h"
#include "messages/text.h"

namespace libmfx::features {
namespace {

/// "name = [x...; y...; z...];"
void WriteMatrix(std::ostream& out, const char* name, const PointCloud& cloud) {
  out << name << " = [";
  for (Eigen::Index row = 0; row < 3 && cloud.rows() >= 3; ++row) {
    for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
      out << (i > 0 ? " " : "") << messages::TextOf(cloud.data()(row, i));
    }
    out << (row < 2 ? "; " : "");
  }
  out << "];\n";
}

void WriteTriple(std::ostream& out, const char* name, const Eigen::Vector3d& v) {
  WriteMatrix(out, name, PointCloud(Eigen::MatrixXd(v)));
}

void WritePoints(std::ostream& out, const char* name, const char* style) {
  out << "if ~isempty(" << name << "), plot3(" << name << "(1,:), " << name << "(2,:), " << name
      << "(3,:), '" << style << "'); end;\n";
}

}  // namespace

shared::ResultKeys Edge::ResultTable() {
  return shared::ResultKeys("EdgeTargetResult")
      .Add("Location", &Edge::_measured_point)
      .Cloud(&Edge::_scan_cloud);
}

void Edge::dump_vis(std::string path, const PointCloud& line, const geometry::Plane& surface,
                    const geometry::Plane& cross_section, const PointXYZW& edge,
                    const PointCloud& curved) const {
  std::ofstream out(path);
  if (!out.is_open()) {
    shared::Trace() << "No dumps as file is not open." << std::endl;
    return;
  }
  out << "close all;\nclear all;\nfigure;\naxis equal;\ntitle('XYZ Plot - Edge');\nhold on;\n";
  WriteMatrix(out, "line_points", line);
  WriteMatrix(out, "curved_points", curved);
  WriteTriple(out, "edge_point", edge.xyz());
  WritePoints(out, "line_points", "b.");
  WritePoints(out, "curved_points", "r.");
  WritePoints(out, "edge_point", "ko");
  const auto arrow = [&out](const char* name, const geometry::Plane& plane, const VectorXYZW& v) {
    WriteTriple(out, name, plane.Point().xyz());
    WriteTriple(out, "direction", v.xyz());
    out << "quiver3(" << name << "(1), " << name << "(2), " << name
        << "(3), direction(1), direction(2), direction(3), 0.005);\n";
  };
  arrow("surface_point", surface, surface.Normal());
  arrow("section_point", cross_section, cross_section.Tangent());
  arrow("section_point", cross_section, cross_section.Bitangent());
  out << "xlabel('x / m'); ylabel('y / m'); zlabel('z / m');\n";
}

}  // namespace libmfx::features
