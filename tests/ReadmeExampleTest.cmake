# Installs the build into a fresh prefix, runs the installed tool, then builds the README's example
# exactly as the README prints it, once with CMake (find_package, no flags of its own) and once
# with pkg-config, and runs both on a movie.
#
# Variables: BUILD_DIR, WORK_DIR, README, GENERATOR, MAKE_PROGRAM, CXX_COMPILER, CXX_FLAGS,
# MAKE_MOVIES, WITH_TOOL (1 when the build has the tool).

cmake_minimum_required(VERSION 3.20)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        string(REPLACE ";" " " shown "${ARGN}")
        message(FATAL_ERROR "failed (${result}): ${shown}\n${out}\n${err}")
    endif()
    set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_in text part what)
    string(FIND "${text}" "${part}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "${what}: expected \"${part}\" in:\n${text}")
    endif()
endfunction()

# The first fenced block of inLanguage in the README, without its fences.
function(readme_block language out_var)
    file(READ ${README} text)
    string(FIND "${text}" "```${language}\n" start)
    if(start EQUAL -1)
        message(FATAL_ERROR "the README has no ${language} block")
    endif()
    string(LENGTH "```${language}\n" fence)
    math(EXPR start "${start} + ${fence}")
    string(SUBSTRING "${text}" ${start} -1 rest)
    string(FIND "${rest}" "```" end)
    string(SUBSTRING "${rest}" 0 ${end} block)
    set(${out_var} "${block}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${MAKE_MOVIES} ${WORK_DIR}/movies)
set(movie ${WORK_DIR}/movies/builder-simple.mov)

# The tool is installed and runs from the prefix.
if(WITH_TOOL)
    if(NOT EXISTS ${prefix}/bin/qtsifter)
        message(FATAL_ERROR "the tool is not installed in ${prefix}/bin")
    endif()
    run(${prefix}/bin/qtsifter --version)
    expect_in("${run_output}" "qtsifter " "installed tool --version")
    run(${prefix}/bin/qtsifter info ${movie})
    expect_in("${run_output}" "tracks: 1" "installed tool info")
endif()

readme_block(cpp example_source)
readme_block(cmake example_lists)
expect_in("${example_source}" "QT::ResultCodeName" "README example")
expect_in("${example_source}" "UTF8to16(argv[1])" "README example")

# With CMake: the consumer sets no standard and no include path; the package carries them.
set(example ${WORK_DIR}/example)
file(WRITE ${example}/example.cpp "${example_source}")
file(WRITE ${example}/CMakeLists.txt "${example_lists}")
run(${CMAKE_COMMAND} -S ${example} -B ${example}/build -G ${GENERATOR}
    -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${example}/build)
run(${example}/build/example ${movie})
expect_in("${run_output}" "600 ticks per second" "README example run")
expect_in("${run_output}" "track 0: vide" "README example run")

# A movie that is not there: the code and its name.
execute_process(COMMAND ${example}/build/example ${WORK_DIR}/absent.mov RESULT_VARIABLE result
    ERROR_VARIABLE err)
if(result EQUAL 0)
    message(FATAL_ERROR "the README example succeeded on a missing movie")
endif()
expect_in("${err}" "0xA0800004 kQTErrOpenFailed" "README example on a missing movie")

# With pkg-config, for hosts that do not use CMake.
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
file(GLOB_RECURSE pc_files ${prefix}/*/qtsifter.pc)
list(LENGTH pc_files count)
if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one qtsifter.pc under ${prefix}, found: ${pc_files}")
endif()
get_filename_component(pc_dir ${pc_files} DIRECTORY)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} ${PKG_CONFIG} --cflags --libs qtsifter)
string(STRIP "${run_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(flags UNIX_COMMAND "${CXX_FLAGS}")
file(GLOB_RECURSE libraries ${prefix}/*/libQTSifter.so)
list(GET libraries 0 library)
get_filename_component(libdir ${library} DIRECTORY)
run(${CXX_COMPILER} ${flags} ${example}/example.cpp ${pc_flags} -Wl,-rpath,${libdir} -o ${example}/example-pc)
run(${example}/example-pc ${movie})
expect_in("${run_output}" "600 ticks per second" "README example built with pkg-config")

file(REMOVE_RECURSE ${WORK_DIR})
