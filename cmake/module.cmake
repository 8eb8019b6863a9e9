# A part of the program that few calls need and whose packages take long to load is a module: a
# shared object of its own, loaded by sim/module.h when it is asked for. Installed, modules lie in a
# folder of their own beside the shared library, which the host tool finds from where it lies itself.
# In the build tree they lie in the same place beside it, so that its run path needs no change when it
# is installed: one that may change is padded, and the padding has a loader look through the current
# folder for every library. The version in the name keeps another version's away.
file(RELATIVE_PATH MFX_MODULES_FROM_BIN
  "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}/libmfx-metrology")
set(MFX_MODULE_FOLDER "${PROJECT_BINARY_DIR}/tools/mfx/${MFX_MODULES_FROM_BIN}")
cmake_path(NORMAL_PATH MFX_MODULE_FOLDER)
cmake_path(IS_PREFIX PROJECT_BINARY_DIR "${MFX_MODULE_FOLDER}" MFX_MODULES_AS_INSTALLED)
if(NOT MFX_MODULES_AS_INSTALLED)
  set(MFX_MODULE_FOLDER "${PROJECT_BINARY_DIR}/modules")
endif()
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
