# Has the program print its manual pages and the completion of shells into a folder:
#   cmake -DMFX=program -DFOLDER=folder -P this
function(print file)
  execute_process(COMMAND ${MFX} ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text
                  ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${MFX} ${ARGN} ended with ${status}: ${err}")
  endif()
  file(WRITE "${FOLDER}/${file}" "${text}")
endfunction()

execute_process(COMMAND ${MFX} help OUTPUT_VARIABLE help)
if(NOT help MATCHES "\nCalls:\n((  [^\n]*\n)+)")
  message(FATAL_ERROR "${MFX} help lists no calls: ${help}")
endif()
string(REGEX MATCHALL "\n  [a-z-]+" calls "\n${CMAKE_MATCH_1}")

file(REMOVE_RECURSE "${FOLDER}")
print(man1/mfx.1 help --man)
foreach(call ${calls})
  string(STRIP "${call}" call)
  print(man1/mfx-${call}.1 help --man ${call})
endforeach()
print(share/bash-completion/completions/mfx completion bash)
print(share/zsh/site-functions/_mfx completion zsh)
print(share/fish/vendor_completions.d/mfx.fish completion fish)
