# What is installed, and how users find it: include/LoamTunnel with the folders of the source, the library, its
# CMake package, its pkg-config file, the program. All of it can be moved as a whole.

include(CMakePackageConfigHelpers)

set(LOAM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/LoamTunnel)
set(LOAM_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/LoamTunnel)

install(TARGETS LoamTunnel EXPORT LoamTunnel
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${LOAM_INCLUDE_DIR})

# The library needs no package itself, so its exported target is the whole package config, which takes in that of the
# component Link, if that is installed.
install(EXPORT LoamTunnel FILE LoamTunnelTargets.cmake NAMESPACE LoamTunnel:: DESTINATION ${LOAM_CMAKE_DIR})
install(FILES cmake/LoamTunnelConfig.cmake DESTINATION ${LOAM_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/LoamTunnelConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/LoamTunnelConfigVersion.cmake DESTINATION ${LOAM_CMAKE_DIR})

# pkg-config counts the way back to the prefix from the folder of the file.
set(LOAM_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${LOAM_PC_DIR}
  OUTPUT_VARIABLE LOAM_PC_TO_PREFIX)
configure_file(cmake/loamtunnel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/loamtunnel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/loamtunnel.pc DESTINATION ${LOAM_PC_DIR})

if(TARGET LoamTunnelLink)
  # The two libraries lie side by side.
  set_target_properties(LoamTunnelLink PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS LoamTunnelLink EXPORT LoamTunnelLink
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${LOAM_INCLUDE_DIR})
  install(EXPORT LoamTunnelLink FILE LoamTunnelLinkTargets.cmake NAMESPACE LoamTunnel:: DESTINATION ${LOAM_CMAKE_DIR})
  configure_file(cmake/loamtunnel-link.pc.in ${CMAKE_CURRENT_BINARY_DIR}/loamtunnel-link.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/loamtunnel-link.pc DESTINATION ${LOAM_PC_DIR})
endif()

if(TARGET loamtunnel)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
    OUTPUT_VARIABLE LOAM_BIN_TO_LIB)
  set_target_properties(loamtunnel PROPERTIES INSTALL_RPATH "$ORIGIN/${LOAM_BIN_TO_LIB}")
  install(TARGETS loamtunnel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
