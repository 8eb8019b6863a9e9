# Compiling the sources of a folder together costs a third of compiling them apart: what they all
# include is parsed once. Only for builds that nobody edits in (the sanitized one, and clang-tidy on
# it); elsewhere each source has to stand on its own.
option(LIBMFX_UNITY "Compile the sources of each folder as one" OFF)

# mfx_unity_by_folder(TARGET [APART REGEX]): sources that match REGEX are compiled one by one.
function(mfx_unity_by_folder target)
  cmake_parse_arguments(arg "" "APART" "" ${ARGN})
  if(NOT LIBMFX_UNITY)
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  foreach(source ${sources})
    if(arg_APART AND source MATCHES "${arg_APART}")
      continue()
    endif()
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(RELATIVE_PATH folder BASE_DIRECTORY "${CMAKE_SOURCE_DIR}")
    string(REPLACE "/" "_" group "${folder}")
    set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${group}")
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
