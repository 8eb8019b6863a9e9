# Under sanitizers, sources take more than twice as long to compile with optimisation as without. The
# preset `asan` compiles without it what is quick anyway: the tests, and the rooms around the library
# but for the virtual instrument. What measures keeps its level.
option(LIBMFX_UNOPTIMIZED "Compile the tests and the rooms around the library without optimisation" OFF)

# A linker takes the first copy of an inline function that it meets. So in a program the objects of the
# optimised libraries, which Ninja puts before the target's own, come first: the copies that the others
# bring would make a library slow that never asked for them.
# mfx_unoptimized(TARGET OPTIMISED_LIBRARY...)
function(mfx_unoptimized target)
  if(NOT LIBMFX_UNOPTIMIZED)
    return()
  endif()
  target_compile_options(${target} PRIVATE -O0)
  foreach(library ${ARGN})
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${library}>)
  endforeach()
endfunction()

# mfx_keep_optimised(SOURCE...): sources of an unoptimised target that iterate so often that tests would
# take longer without optimisation than their compilation does with it.
function(mfx_keep_optimised)
  if(LIBMFX_UNOPTIMIZED)
    set_source_files_properties(${ARGN} PROPERTIES
      COMPILE_OPTIONS -O1 SKIP_PRECOMPILE_HEADERS ON SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()
