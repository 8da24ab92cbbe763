# Installs the shared library, the public headers, a CMake package (find_package(QTSifter)) and a
# pkg-config file (pkg-config qtsifter). The tool installs itself from tools/qtsifter.
include(CMakePackageConfigHelpers)

# The headers need C++20; consumers get it from the target rather than from flags of their own.
target_compile_features(QTSifter INTERFACE cxx_std_20)

set(QTSIFTER_PUBLIC_HEADERS
    QTSifter/Inc/IQTMovie.h
    QTSifter/Inc/IQTMovieFixer.h
    QTSifter/Inc/IQTSifter.h
    QTSifter/Inc/IQTTrack.h
    QTSifter/Inc/QTAudio.h
    QTSifter/Inc/QTCaption.h
    QTSifter/Inc/QTExport.h
    QTSifter/Inc/QTExtRefData.h
    QTSifter/Inc/QTExternalReferences.h
    QTSifter/Inc/QTFileProvider.h
    QTSifter/Inc/QTFourCC.h
    QTSifter/Inc/QTMetadata.h
    QTSifter/Inc/QTRect.h
    QTSifter/Inc/QTResultCodes.h
    QTSifter/Inc/QTTimecode.h
    QTSifter/Inc/QTVideo.h
)
install(FILES ${QTSIFTER_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QTSifter)
install(FILES
    host_runtime/include/tenacore/Export.h
    host_runtime/include/tenacore/allocator.h
    host_runtime/include/tenacore/classref.h
    host_runtime/include/tenacore/config.h
    host_runtime/include/tenacore/debug.h
    host_runtime/include/tenacore/string.h
    host_runtime/include/tenacore/trace.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tenacore)
install(FILES host_runtime/include/MK/BinaryData.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/MK)

install(TARGETS QTSifter EXPORT QTSifterTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
)
install(EXPORT QTSifterTargets NAMESPACE QTSifter:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QTSifter)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QTSifterConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/QTSifterConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QTSifter)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/QTSifterConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QTSifterConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/QTSifterConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QTSifter)

# For hosts without CMake. The prefix is found from where the file lies, so that the package can be
# installed to any prefix (cmake --install --prefix) and moved.
file(RELATIVE_PATH QTSIFTER_PC_UP "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" QTSIFTER_PC_UP "${QTSIFTER_PC_UP}")
foreach(kind LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
        set(QTSIFTER_PC_${kind} "${CMAKE_INSTALL_${kind}}")
    else()
        set(QTSIFTER_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
    endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/qtsifter.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qtsifter.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qtsifter.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
