# A source costs its own compiling and that of all that it makes of what it includes: the same inline
# functions and templates, in one object after the other. The presets `dev` and `asan` compile several
# sources of a target as one, which takes half the time. In the others each source is compiled by
# itself. scripts/together.py tells which sources go together: where two use a name differently, they
# never share a file. It is asked at each configuration; a change that brings two such names into one
# file does not compile, and `cmake --preset dev` parts them.
option(LIBMFX_UNITY "Compile several sources of a target as one" OFF)
set(MFX_UNITY_MOST 8)

# mfx_unity(TARGET)
function(mfx_unity target)
  if(NOT LIBMFX_UNITY)
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  set(paths "")
  foreach(source ${sources})
    cmake_path(ABSOLUTE_PATH source NORMALIZE)
    list(APPEND paths "${source}")
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
               "${PROJECT_SOURCE_DIR}/scripts/together.py")
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  execute_process(COMMAND "${Python3_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/scripts/together.py"
                          ${MFX_UNITY_MOST} ${paths}
                  OUTPUT_VARIABLE rows COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[0-9]+ [^\n]+" rows "${rows}")
  foreach(row ${rows})
    string(REGEX MATCH "^([0-9]+) (.*)$" row "${row}")
    set_source_files_properties("${CMAKE_MATCH_2}" PROPERTIES UNITY_GROUP "${CMAKE_MATCH_1}")
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
