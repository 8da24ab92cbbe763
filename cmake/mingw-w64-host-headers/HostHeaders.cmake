# The header-only dependencies of the cross build come from the build machine's /usr/include. That
# folder cannot be an include path of the cross compiler, whose own C library headers it would
# shadow, so each package's folder is linked into a folder of its own in the build tree.
function(qtsifter_host_headers outFolder package)
    set(folder "${CMAKE_BINARY_DIR}/host-headers/${package}")
    foreach(name IN LISTS ARGN)
        if(NOT IS_DIRECTORY "/usr/include/${name}")
            message(FATAL_ERROR "${package}: /usr/include/${name} is missing; scripts/setup.sh installs it")
        endif()
        if(NOT EXISTS "${folder}/${name}")
            file(MAKE_DIRECTORY "${folder}")
            file(CREATE_LINK "/usr/include/${name}" "${folder}/${name}" SYMBOLIC)
        endif()
    endforeach()
    set(${outFolder} "${folder}" PARENT_SCOPE)
endfunction()

# An imported target over those headers, made once in each directory that asks for the package.
function(qtsifter_host_header_target target package)
    qtsifter_host_headers(folder ${package} ${ARGN})
    if(NOT TARGET ${target})
        add_library(${target} INTERFACE IMPORTED)
        set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${folder}")
    endif()
endfunction()
