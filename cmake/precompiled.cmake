# Parsing what most sources include takes longer than compiling them. A precompiled header has it
# parsed once for each target. Only for builds that nobody edits in (the sanitized one, and clang-tidy
# on it); elsewhere each source has to stand on its own.
option(LIBMFX_PRECOMPILE "Parse once what most sources of a target include" OFF)

# mfx_precompile(TARGET HEADER...)
function(mfx_precompile target)
  if(LIBMFX_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
