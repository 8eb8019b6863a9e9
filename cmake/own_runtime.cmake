# A program that holds the C++ runtime itself: finding and binding the shared one takes a quarter of a
# start of the host tool. Where there is no static runtime to link, and under sanitizers, which put
# themselves between a program and the shared one, it stays shared.
include(CheckLinkerFlag)

# mfx_own_runtime(PROGRAM)
function(mfx_own_runtime program)
  if("${CMAKE_CXX_FLAGS} ${CMAKE_EXE_LINKER_FLAGS}" MATCHES "-fsanitize")
    return()
  endif()
  check_linker_flag(CXX -static-libstdc++ MFX_LINKS_STATIC_LIBSTDCXX)
  check_linker_flag(CXX -static-libgcc MFX_LINKS_STATIC_LIBGCC)
  if(MFX_LINKS_STATIC_LIBSTDCXX AND MFX_LINKS_STATIC_LIBGCC)
    target_link_options(${program} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()
