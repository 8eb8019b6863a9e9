# Parsing what most sources include takes longer than compiling them. A precompiled header has it
# parsed once for each target. The presets `dev` and `asan` build so; in the others each source has to
# stand on its own. A compiler cache gets on badly with precompiled headers, and makes them
# unnecessary.
option(LIBMFX_PRECOMPILE "Parse once what most sources of a target include" OFF)

# mfx_precompile(TARGET HEADER...)
function(mfx_precompile target)
  if(NOT LIBMFX_PRECOMPILE OR CMAKE_CXX_COMPILER_LAUNCHER)
    return()
  endif()
  target_precompile_headers(${target} PRIVATE ${ARGN})
  # With what std::string does inlined from a precompiled header, g++ 12 sees overruns in it that are
  # not there. The other builds keep these warnings.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:
    -Wno-array-bounds -Wno-stringop-overread -Wno-stringop-overflow>)
endfunction()
