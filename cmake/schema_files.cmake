# Writes the source that carries the schemas which are written by hand. Those of requests follow from
# the tables of the feature types; their files are there to be installed, and a test compares them.
file(GLOB schema_files CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/../schemas/*.json")
list(FILTER schema_files EXCLUDE REGEX "/request-[a-z-]+\\.json$")
set(schema_rows "")
foreach(file ${schema_files})
  get_filename_component(name "${file}" NAME_WE)
  file(READ "${file}" text)
  string(STRIP "${text}" text)
  string(APPEND schema_rows "    {\"${name}\", R\"schema(${text})schema\"},\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
endforeach()
file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/schema_files.cpp" @ONLY CONTENT
"#include \"host/schema_files.h\"

namespace libmfx::host {

std::span<const SchemaFile> SchemaFiles() {
  static constexpr SchemaFile kFiles[] = {
@schema_rows@  };
  return kFiles;
}

}  // namespace libmfx::host
")
