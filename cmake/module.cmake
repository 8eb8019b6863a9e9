# A part of the program that few calls need and whose packages take long to load is a module: a
# shared object of its own, loaded by sim/module.h when it is asked for. In the build tree all modules
# lie in one folder, which every program there finds by its run path; installed, they lie in a folder
# of their own beside the shared library. The version in the name keeps another version's away.
set(MFX_MODULE_FOLDER "${PROJECT_BINARY_DIR}/modules")
list(APPEND CMAKE_BUILD_RPATH "${MFX_MODULE_FOLDER}")

# mfx_module(NAME USER SOURCE...): the library USER loads libmfx-NAME-VERSION.so
function(mfx_module name user)
  set(module mfx_${name}_module)
  add_library(${module} MODULE ${ARGN})
  set_target_properties(${module} PROPERTIES
    OUTPUT_NAME mfx-${name}-${PROJECT_VERSION} PREFIX lib SUFFIX .so
    LIBRARY_OUTPUT_DIRECTORY "${MFX_MODULE_FOLDER}"
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${module} PRIVATE mfx_flags Eigen3::Eigen)
  target_include_directories(${module} PRIVATE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/include")
  add_dependencies(${user} ${module})
endfunction()
