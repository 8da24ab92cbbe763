# Installs the build into a fresh prefix, checks what the shared library exports, then builds and
# runs a consumer project against the installed package.
#
# Variables: BUILD_DIR, WORK_DIR, CONSUMER_SOURCE, GENERATOR, MAKE_PROGRAM, CXX_COMPILER, CXX_FLAGS,
# BUILD_TYPE, NM, MAKE_MOVIES.

cmake_minimum_required(VERSION 3.20)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        string(REPLACE ";" " " shown "${ARGN}")
        message(FATAL_ERROR "failed (${result}): ${shown}\n${out}\n${err}")
    endif()
    set(run_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The installed headers must stand on their own: each one compiles alone.
file(GLOB headers ${prefix}/include/QTSifter/*.h)
if(NOT headers)
    message(FATAL_ERROR "no headers installed under ${prefix}/include/QTSifter")
endif()
separate_arguments(flags UNIX_COMMAND "${CXX_FLAGS}")
foreach(header IN LISTS headers)
    run(${CXX_COMPILER} ${flags} -std=c++20 -fsyntax-only -I${prefix}/include/QTSifter -I${prefix}/include
        -x c++ ${header})
endforeach()

file(GLOB_RECURSE libraries ${prefix}/*/libQTSifter.so)
list(LENGTH libraries count)
if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one libQTSifter.so under ${prefix}, found: ${libraries}")
endif()

# Only the factories, the exported functions, the interfaces and the host runtime that inline
# code in the headers reaches may be exported.
run(${NM} -D --defined-only -C ${libraries})
string(REPLACE "\n" ";" lines "${run_output}")
set(symbols "")
set(strays "")
foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]* *[A-Za-z] (.*)$")
        set(symbol "${CMAKE_MATCH_1}")
        list(APPEND symbols "${symbol}")
        if(NOT symbol MATCHES "^((typeinfo|typeinfo name|vtable|VTT) for )?(QT|tenacore)::")
            list(APPEND strays "${symbol}")
        endif()
    endif()
endforeach()
foreach(factory "QT::MakeParser()" "QT::MakeFixer()")
    if(NOT "${factory}" IN_LIST symbols)
        message(FATAL_ERROR "${factory} is not exported:\n${run_output}")
    endif()
endforeach()
foreach(internal "QT::QTSifter::" "QT::QTMovie::" "QT::QTMovieFixer::" "QTMooVAtom" "WalkTracks" "KSL::"
        "filesupport::")
    string(FIND "${run_output}" "${internal}" at)
    if(NOT at EQUAL -1)
        message(FATAL_ERROR "internal symbol ${internal} is exported:\n${run_output}")
    endif()
endforeach()
if(strays)
    string(REPLACE ";" "\n  " strays "${strays}")
    message(FATAL_ERROR "symbols outside the public namespaces are exported:\n  ${strays}")
endif()

set(consumer ${WORK_DIR}/consumer)
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${consumer} -G ${GENERATOR}
    -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${consumer})

# The consumer must have found the package in the prefix, not one installed elsewhere.
file(STRINGS ${consumer}/CMakeCache.txt package_dir REGEX "^QTSifter_DIR:")
string(FIND "${package_dir}" "${prefix}/" at)
if(NOT at GREATER -1)
    message(FATAL_ERROR "the consumer found another package: ${package_dir}")
endif()

run(${MAKE_MOVIES} ${WORK_DIR}/movies)
run(${consumer}/qtsifter_consumer ${WORK_DIR}/movies/builder-simple.mov 600 1)
message(STATUS "${run_output}")
file(REMOVE_RECURSE ${WORK_DIR})
