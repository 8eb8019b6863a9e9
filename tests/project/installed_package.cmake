# Installs the built tree into an empty prefix, and builds and runs examples/minimal_host against it
# twice: found by CMake's find_package, and compiled by hand with what pkg-config says.
#   cmake -DBUILD_DIR= -DSOURCE_DIR= -DWORK_DIR= -DCXX= -DCXX_FLAGS= -DLIBDIR= -DVERSION= -P this
function(run)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "OUTPUT" "COMMAND")
  execute_process(COMMAND ${arg_COMMAND} RESULT_VARIABLE status OUTPUT_VARIABLE out
                  ERROR_VARIABLE err OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${arg_COMMAND}\nended with ${status}\n${out}\n${err}")
  endif()
  if(arg_OUTPUT)
    set(${arg_OUTPUT} "${out}" PARENT_SCOPE)
  endif()
endfunction()

function(expect_measured program)
  run(COMMAND ${program} OUTPUT result)
  string(JSON success GET "${result}" Success)
  string(JSON name GET "${result}" Name)
  string(JSON count GET "${result}" ScanData Count)
  if(NOT success STREQUAL "ON" OR NOT name STREQUAL "Wall" OR NOT count EQUAL 20)
    message(FATAL_ERROR "${program} printed ${result}")
  endif()
endfunction()

# An installed file is what the installed program prints.
function(expect_printed file)
  execute_process(COMMAND ${prefix}/bin/mfx ${ARGN} OUTPUT_VARIABLE printed)
  if(NOT EXISTS "${prefix}/${file}")
    message(FATAL_ERROR "${file} is not installed")
  endif()
  file(READ "${prefix}/${file}" installed)
  if(printed STREQUAL "" OR NOT printed STREQUAL installed)
    message(FATAL_ERROR "${file} is not what mfx ${ARGN} prints")
  endif()
endfunction()

# What a program says of a request that cannot be measured, and the status that it ends with.
function(expect_refused program request expected_status expected_text)
  file(WRITE "${WORK_DIR}/request.json" "${request}")
  execute_process(COMMAND ${program} ${WORK_DIR}/request.json RESULT_VARIABLE status
                  OUTPUT_QUIET ERROR_VARIABLE err)
  if(NOT status EQUAL expected_status OR NOT err MATCHES "${expected_text}")
    message(FATAL_ERROR "${program} ended with ${status} for ${request}: ${err}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# What is installed keeps its names to itself: nothing named libmfx.so, libmfx.pc or include/mfx.
foreach(foreign ${LIBDIR}/libmfx.so ${LIBDIR}/pkgconfig/libmfx.pc include/mfx)
  if(EXISTS "${prefix}/${foreign}")
    message(FATAL_ERROR "the package installs ${foreign}, which belongs to another one")
  endif()
endforeach()

# The installed schemas are those that the installed tool prints.
if(EXISTS "${BUILD_DIR}/tools/mfx/mfx")
  run(COMMAND ${prefix}/bin/mfx schema OUTPUT names)
  string(REPLACE "\n" ";" names "${names}")
  list(LENGTH names count)
  if(count LESS 20)
    message(FATAL_ERROR "mfx schema printed ${names}")
  endif()
  foreach(name ${names})
    run(COMMAND ${prefix}/bin/mfx schema ${name} OUTPUT printed)
    file(READ "${prefix}/share/libmfx-metrology/schema/${name}.json" installed)
    string(STRIP "${installed}" installed)
    if(NOT printed STREQUAL installed)
      message(FATAL_ERROR "${name}.json is installed with another text than mfx schema prints")
    endif()
  endforeach()
endif()

# The installed tool runs from where it lies, with the installed library and nothing of the build.
if(EXISTS "${BUILD_DIR}/tools/mfx/mfx")
  run(COMMAND ${prefix}/bin/mfx features OUTPUT listed)
  if(NOT listed MATCHES "RobustHole")
    message(FATAL_ERROR "the installed mfx lists ${listed}")
  endif()
  # So do its pages and completions: those that it prints itself.
  foreach(page "mfx.1;help;--man" "mfx-measure.1;help;--man;measure" "mfx-help.1;help;--man;help")
    list(POP_FRONT page file)
    expect_printed(share/man/man1/${file} ${page})
  endforeach()
  expect_printed(share/bash-completion/completions/mfx completion bash)
  expect_printed(share/zsh/site-functions/_mfx completion zsh)
  expect_printed(share/fish/vendor_completions.d/mfx.fish completion fish)
endif()

set(example "${SOURCE_DIR}/examples/minimal_host")
run(COMMAND ${CMAKE_COMMAND} -S ${example} -B ${WORK_DIR}/cmake -DCMAKE_PREFIX_PATH=${prefix}
            -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake)
expect_measured(${WORK_DIR}/cmake/minimal_host)
expect_refused(${WORK_DIR}/cmake/minimal_host "{\"Feature\": " 2 "the request is no JSON object")
expect_refused(${WORK_DIR}/cmake/minimal_host "" 2 "the request is no JSON object")
expect_refused(${WORK_DIR}/cmake/minimal_host "{}" 1 "not measured: Unknown feature")

# The tree was installed under another prefix than the one that it was configured for: pkg-config
# has to find it where it lies.
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run(COMMAND pkg-config --modversion libmfx-metrology OUTPUT version)
if(NOT version STREQUAL VERSION)
  message(FATAL_ERROR "pkg-config says version ${version}, the build says ${VERSION}")
endif()
run(COMMAND pkg-config --cflags --libs libmfx-metrology OUTPUT flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(cxx_flags UNIX_COMMAND "${CXX_FLAGS}")
run(COMMAND ${CXX} -std=c++20 ${cxx_flags} ${example}/main.cpp ${flags}
            -Wl,-rpath,${prefix}/${LIBDIR} -o ${WORK_DIR}/by_hand)
expect_measured(${WORK_DIR}/by_hand)
